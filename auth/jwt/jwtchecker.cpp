#include "jwtchecker.h"

#include "napplication.h"
#include "nnetworkaccessmanager.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QVariantMap>

namespace NimblaSDK {

Q_LOGGING_CATEGORY(lcJwtChecker, "JWTchecker")

JWTchecker::JWTchecker(QObject *parent)
    : QObject(parent)
{
}

bool JWTchecker::validateJWT(const QString &jwt)
{
    qCInfo(lcJwtChecker) << "Start checking JWT";
    QNetworkReply *reply = _sendRequest(jwt);
    QEventLoop loop;
    connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();

    if (reply->error() != QNetworkReply::NoError) {
        qCInfo(lcJwtChecker) << "Can't validate JWT";
        qCInfo(lcJwtChecker).noquote() << reply->errorString();
        reply->deleteLater();
        return false;
    }
    qCInfo(lcJwtChecker) << "Validate JWT Success";
    reply->deleteLater();
    return true;
}

void JWTchecker::validateJWTAsync(const QString &jwt)
{
    QNetworkReply *reply = _sendRequest(jwt);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        Q_EMIT jwtValidated(status == 204);
    });
}

QByteArray JWTchecker::_makeRequestBody(const QString &jwt)
{
    return QJsonDocument::fromVariant(QVariantMap{{QStringLiteral("token"), jwt}}).toJson();
}

QNetworkReply *JWTchecker::_sendRequest(const QString &jwt)
{
    QNetworkRequest request(QUrl(NApplication::instance().urlsManager()->validateJWTUrl()));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    return NNetworkAccessManager::getManager()->post(request, _makeRequestBody(jwt));
}

} // namespace NimblaSDK
