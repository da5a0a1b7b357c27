#include "httpapirequester.h"

#include "corelogging_p.h"
#include "httpapirequest.h"
#include "nnetworkaccessmanager.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace NimblaSDK {

IHttpApiRequester::~IHttpApiRequester() = default;

HttpApiRequester::HttpApiRequester(QObject *parent)
    : QObject(parent)
{
}

HttpApiRequest *HttpApiRequester::get(const QUrl &url)
{
    return exec(HttpApi::Get, url, QByteArray(), QString());
}

HttpApiRequest *HttpApiRequester::post(const QUrl &url, const QByteArray &body, const QString &contentType)
{
    return exec(HttpApi::Post, url, body, contentType);
}

HttpApiRequest *HttpApiRequester::patch(const QUrl &url, const QByteArray &body, const QString &contentType)
{
    return exec(HttpApi::Patch, url, body, contentType);
}

HttpApiRequest *HttpApiRequester::exec(HttpApi::Method method, const QUrl &url, const QByteArray &body,
                                       const QString &contentType)
{
    const QNetworkRequest request = createRequest(url, contentType);
    QNetworkAccessManager *manager = NNetworkAccessManager::getManager();

    QNetworkReply *reply = nullptr;
    switch (method) {
    case HttpApi::Get:
        reply = manager->get(request);
        break;
    case HttpApi::Post:
        reply = manager->post(request, body);
        break;
    case HttpApi::Patch:
        reply = manager->sendCustomRequest(request, QByteArrayLiteral("PATCH"), body);
        break;
    }

    // A request still in flight ends with its requester instead of outliving it.
    auto *apiRequest = new HttpApiRequest(reply, this);
    bind(apiRequest);
    return apiRequest;
}

void HttpApiRequester::authorized(const QVariantMap &authorization)
{
    m_bearerToken = authorization.value(QStringLiteral("access_token")).toString().toUtf8();
}

void HttpApiRequester::authorizationError(const QString &reason)
{
    qCWarning(lcRequester).noquote() << "Authorization refused:" << reason;
    Q_EMIT authorizationFailed(reason);
}

QNetworkRequest HttpApiRequester::createRequest(const QUrl &url, const QString &contentType)
{
    QNetworkRequest request(url);
    if (!contentType.isEmpty())
        request.setHeader(QNetworkRequest::ContentTypeHeader, contentType);
    if (!m_bearerToken.isEmpty())
        request.setRawHeader(QByteArrayLiteral("Authorization"), "Bearer " + m_bearerToken);
    return request;
}

void HttpApiRequester::bind(HttpApiRequest *request)
{
    if (m_bearerToken.isEmpty())
        return;
    connect(request, &HttpApiRequest::finished, this, [this, request] {
        if (request->httpStatusCode() == 401)
            authorizationError(request->httpReasonPhrase());
    });
}

} // namespace NimblaSDK
