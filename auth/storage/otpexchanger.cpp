#include "otpexchanger.h"

#include "authlogging_p.h"

#include "httpapirequest.h"
#include "httpapirequester.h"
#include "napplication.h"

#include <QJsonDocument>
#include <QLoggingCategory>
#include <QUrl>

namespace NimblaSDK {

const QLoggingCategory &OtpExchanger::logC()
{
    return lcOtpExchanger();
}

OtpExchanger::OtpExchanger(QObject *parent)
    : IOtpExchanger(parent)
    , m_requester(new HttpApiRequester(this))
{
}

void OtpExchanger::exchange(QString otp)
{
    qCDebug(logC).noquote() << "Starting exchange sequence for OTP:" << otp;

    // The service takes the password as typed, so it goes into the template without percent-encoding.
    const QString address = NApplication::instance().urlsManager()->exchangeOtpUrl().arg(otp);
    HttpApiRequest *request = m_requester->get(QUrl(address, QUrl::TolerantMode));

    connect(request, &HttpApiRequest::finished, this, [this, request](const QByteArray &data) {
        request->deleteLater();
        if (!request->noErrors()) {
            qCWarning(logC).noquote() << "Error while exchanging OTP:" << request->httpStatusCode() << ":"
                                      << request->httpReasonPhrase();
            Q_EMIT error();
            return;
        }

        const QJsonObject answer = QJsonDocument::fromJson(data).object();
        if (answer.contains(QLatin1String("jwt"))) {
            Q_EMIT exchanged(JwtToken, answer);
        } else if (answer.contains(QLatin1String("access_token")) && answer.contains(QLatin1String("refresh_token"))) {
            Q_EMIT exchanged(OAuth2, answer);
        } else {
            qCWarning(logC) << "Invalid response from server.";
            Q_EMIT error();
        }
    });
}

} // namespace NimblaSDK
