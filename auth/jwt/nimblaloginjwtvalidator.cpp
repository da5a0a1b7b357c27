#include "nimblaloginjwtvalidator.h"

#include "authlogging_p.h"
#include "httpapirequest.h"
#include "httpapirequester.h"

namespace NimblaSDK {

NimblaLoginJwtValidator::NimblaLoginJwtValidator(QObject *parent)
    : IJwtValidator(parent)
    , m_requester(new HttpApiRequester(this))
{
}

void NimblaLoginJwtValidator::setTestEndpoint(const QUrl &url)
{
    m_testEndpoint = url;
}

const QUrl &NimblaLoginJwtValidator::testEndpoint() const
{
    return m_testEndpoint;
}

void NimblaLoginJwtValidator::validate(const QString &jwt)
{
    if (testEndpoint().isEmpty()) {
        Q_EMIT invalid();
        return;
    }

    m_requester->authorized({{QStringLiteral("access_token"), jwt}});
    HttpApiRequest *request = m_requester->post(testEndpoint(), QByteArray(), QStringLiteral("application/json"));
    connect(request, &HttpApiRequest::finished, this, [this, request](const QByteArray &data) {
        request->deleteLater();
        if (request->noErrors()) {
            Q_EMIT valid();
            return;
        }
        qCDebug(lcJwtValidator) << "Jwt is invalid. Http response code:" << request->httpStatusCode()
                                << " data:" << data;
        Q_EMIT invalid();
    });
}

} // namespace NimblaSDK
