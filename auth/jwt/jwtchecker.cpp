#include "jwtchecker.h"

#include "authlogging_p.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "servicereply_p.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QScopedPointer>
#include <QVariantMap>

namespace NimblaSDK {

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

    // Deleted here, not later: on a worker thread of the callback server no
    // event loop runs after this one to carry out a deferred deletion.
    const QScopedPointer<QNetworkReply> finished(reply);
    // A cut or aborted answer is a network failure, never a token called valid.
    const ServiceReply answer(reply);
    if (answer.failed()) {
        qCInfo(lcJwtChecker) << "Can't validate JWT";
        qCInfo(lcJwtChecker).noquote() << answer.errorString();
        return false;
    }
    qCInfo(lcJwtChecker) << "Validate JWT Success";
    return true;
}

void JWTchecker::validateJWTAsync(const QString &jwt)
{
    QNetworkReply *reply = _sendRequest(jwt);
    // Released with the answer: the shared manager would otherwise keep every reply until the application ends.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        const ServiceReply answer(reply);
        Q_EMIT jwtValidated(!answer.failed() && answer.httpStatus() == 204);
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
