#include "abstractsession.h"

#include "errorinfo.h"
#include "errorlogger.h"
#include "jwt/jwtcodec.h"
#include "logmanager.h"
#include "napplication.h"
#include "networkreply_p.h"
#include "nnetworkaccessmanager.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace NimblaSDK {

Q_LOGGING_CATEGORY(lcSession, "logCatNimblaAuth")

namespace {

SDKSettings *settings()
{
    return NApplication::instance().settingsManager();
}

ErrorLogger &errorLogger()
{
    return ErrorLogger::instance(ErrorLoggerSettings());
}

} // namespace

AbstractSession::AbstractSession(QObject *parent)
    : QObject(parent)
{
}

QString AbstractSession::token() const { return m_token; }
QString AbstractSession::accessKey() const { return m_accessKey; }
QString AbstractSession::login() const { return m_login; }
QString AbstractSession::userId() const { return m_userId; }
QString AbstractSession::userName() const { return m_userName; }
QString AbstractSession::jwt() const { return m_jwt; }
QString AbstractSession::merchantId() const { return m_merchantId; }
QString AbstractSession::externalUserId() const { return m_externalUserId; }
int AbstractSession::loginType() const { return m_loginType; }

void AbstractSession::checkLoginType()
{
    const QUrl url(NApplication::instance().urlsManager()->widgetSettingsUrl());
    QNetworkReply *reply = NNetworkAccessManager::getManager()->get(QNetworkRequest(url));
    NNetworkAccessManager::ignoreSslErrors(reply);

    // Released even when the session is gone before the answer comes.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        const QString failure = QStringLiteral("Failed load Nimbla Login settings");
        if (reply->error() != QNetworkReply::NoError) {
            qCCritical(lcSession).noquote()
                    << withNetworkErrorCode(QStringLiteral("loading widget settings failed ") + reply->errorString(), reply->error());
            Q_EMIT error(failure);
            _logError(failure, reply->errorString());
            m_loginType = 0;
            return;
        }

        const QJsonObject settingsObject = QJsonDocument::fromJson(replyBody(reply)).object();
        if (settingsObject.contains(QStringLiteral("proxyLogin"))) {
            m_loginType = settingsObject.value(QStringLiteral("proxyLogin")).toBool() ? 2 : 1;
        } else if (settingsObject.contains(QStringLiteral("error"))) {
            const QString description = errorDescription(settingsObject);
            qCCritical(lcSession).noquote() << "loading widget settings failed " + description;
            qCCritical(lcSession).noquote() << "Reply: " + QString::fromUtf8(QJsonDocument(settingsObject).toJson());
            Q_EMIT error(failure);
            // The title without the final "s" is the one the error dashboards group by.
            _logError(QStringLiteral("Failed load Nimbla Login setting"), "loading widget settings failed " + description);
            m_loginType = 0;
            return;
        } else {
            m_loginType = 1;
        }
        tryLogin();
    });
}

void AbstractSession::refresh()
{
    Q_EMIT error(tr("Session timeout. Please, login again."));
}

void AbstractSession::logout()
{
}

void AbstractSession::_setToken(const QString &token)
{
    if (token == m_token)
        return;
    settings()->setToken(token);
    m_token = token;
    Q_EMIT tokenChanged(token);
}

void AbstractSession::_setAccessKey(const QString &accessKey)
{
    if (accessKey == m_accessKey)
        return;
    settings()->setAccessKey(accessKey);
    m_accessKey = accessKey;
    Q_EMIT accessKeyChanged(accessKey);
}

void AbstractSession::_setLogin(const QString &login)
{
    settings()->setLogin(login);
    m_login = login;
    LogManager::instance(false).setUsername(login);
    Q_EMIT loginChanged(login);
}

void AbstractSession::_setUserId(const QString &userId)
{
    if (userId == m_userId)
        return;
    settings()->setUserId(userId);
    m_userId = userId;
    Q_EMIT userIdChanged(userId);
}

void AbstractSession::_setExternalUserId(const QString &externalUserId)
{
    if (externalUserId == m_externalUserId)
        return;
    settings()->setExternalUserId(externalUserId);
    m_externalUserId = externalUserId;
    Q_EMIT externalUserIdChanged(externalUserId);
}

void AbstractSession::_setJwt(const QString &jwt)
{
    if (jwt == m_jwt)
        return;
    settings()->setJWT(jwt);
    m_jwt = jwt;
    Q_EMIT jwtChanged(jwt);
}

void AbstractSession::_setUserName(const QString &userName)
{
    settings()->setUserName(userName);
    m_userName = userName;
    Q_EMIT userNameChanged(userName);
}

void AbstractSession::_setMerchantId(const QString &merchantId)
{
    m_merchantId = merchantId;
    Q_EMIT merchantIdChanged(merchantId);
}

bool AbstractSession::_processJWT(const QString &jwt)
{
    // Stored before any check: a rejected token still replaces the previous one.
    _setJwt(jwt);

    JwtCodec codec;
    if (!codec.decode(m_jwt))
        return false;

    const QJsonObject payload = codec.payloadDocument().object();
    const QString projectId = payload.value(QStringLiteral("nimbla_login_project_id")).toString();
    if (projectId != NApplication::instance().configManager()->loginProjectId()) {
        qCCritical(lcSession) << "JWT token belongs to another login project";
        return false;
    }

    qCDebug(lcSession).noquote() << "Jwt payload object: " + QString::fromLocal8Bit(QJsonDocument(payload).toJson());

    const QString subject = payload.value(QStringLiteral("sub")).toString();
    const QString userName = payload.value(QStringLiteral("username")).toString();
    const QString externalAccountId = payload.value(QStringLiteral("external_account_id")).toString();

    _setLogin(payload.value(QStringLiteral("email")).toString());
    _setUserId(subject);
    _setUserName(userName);
    _setAccessKey(payload.value(QStringLiteral("nimbla_login_access_key")).toString());
    _setMerchantId(QString::number(payload.value(QStringLiteral("publisher_id")).toDouble(0), 'g', 6));
    _setExternalUserId(externalAccountId);

    _updateErrorTags(subject, userName, externalAccountId);

    Q_EMIT refreshed({{QStringLiteral("access_token"), jwt}});
    return true;
}

void AbstractSession::_updateErrorTags(const QString &userId, const QString &userName, const QString &externalAccountId)
{
    QMap<QString, QString> tags = errorLogger().additionalTags();
    // An empty claim keeps the tag of an earlier sign-in in place.
    if (!userId.isEmpty())
        tags.insert(QStringLiteral("user_id"), userId);
    if (!userName.isEmpty())
        tags.insert(QStringLiteral("username"), userName);
    if (!externalAccountId.isEmpty())
        tags.insert(QStringLiteral("external_account_id"), externalAccountId);
    errorLogger().setAdditionalTags(tags);
}

void AbstractSession::_finishAuth()
{
    errorLogger().logInfo(QStringLiteral("Auth success"));
    Q_EMIT loginFinished();
}

void AbstractSession::_logError(const QString &title, const QString &description) const
{
    ErrorInfo info;
    info.message = title;
    info.details = description;
    info.area = QStringLiteral("authorization");
    errorLogger().logError(info);
}

void AbstractSession::_logEvent(const QString &event) const
{
    errorLogger().logInfo(event);
}

} // namespace NimblaSDK
