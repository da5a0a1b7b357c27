#include "abstractsession.h"

#include "authlogging_p.h"
#include "errorinfo.h"
#include "errorlogger.h"
#include "eventstracker.h"
#include "failurerow_p.h"
#include "jwt/jwtcodec.h"
#include "logmanager.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "servicereply_p.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <algorithm>

namespace NimblaSDK {

namespace {

SDKSettings *settings()
{
    return NApplication::instance().settingsManager();
}

ErrorLogger &errorLogger()
{
    return ErrorLogger::instance(ErrorLoggerSettings());
}

const FailureRow SettingsUnreachable = FailureRow(lcSession)
        .logReply(FailureRow::NetworkLine, "loading widget settings failed ")
        .error("Failed load Nimbla Login settings")
        .report("Failed load Nimbla Login settings", FailureRow::NetworkErrorString);
// The title without the final "s" is the one the error dashboards group by.
const FailureRow SettingsRefused = FailureRow(lcSession)
        .logReply(FailureRow::ServiceLines, "loading widget settings failed ")
        .error("Failed load Nimbla Login settings")
        .report("Failed load Nimbla Login setting", FailureRow::FirstLogLine);

QStringList criticalLines(const FailureRow::LogStep &step, const ServiceReply *reply)
{
    const QString start = QString::fromUtf8(step.words);
    switch (step.shape) {
    case FailureRow::FixedLine:
        break;
    case FailureRow::NetworkLine:
        // The service's log parser expects the error code appended as one
        // character, not as digits.
        return {start + reply->errorString() + QChar(static_cast<int>(reply->networkError()))};
    case FailureRow::ServiceLines:
        return {start + reply->serviceDescription(),
                QStringLiteral("Reply: ") + QString::fromUtf8(QJsonDocument(reply->answer()).toJson())};
    case FailureRow::RawLines:
        return {start.trimmed(), QStringLiteral("Reply: ") + QString::fromUtf8(reply->body())};
    case FailureRow::ErrorStringLine:
        return {start + reply->errorString()};
    case FailureRow::DescriptionLine:
        return {start + reply->serviceDescription()};
    }
    return {start};
}

QString failureDetails(const FailureRow &row, const ServiceReply *reply, const QVector<QStringList> &lines)
{
    switch (row.details) {
    case FailureRow::NoDetails:
        break;
    case FailureRow::ServiceDescription:
        return reply->serviceDescription();
    case FailureRow::NetworkErrorString:
        return reply->errorString();
    case FailureRow::FirstLogLine:
        return lines.value(0).value(0);
    }
    return QString();
}

QString failureText(const FailureRow &row, const ServiceReply *reply, const char *sessionClass)
{
    switch (row.textSource) {
    case FailureRow::FixedText:
        break;
    case FailureRow::TranslatedText:
        // The context tr() would give in the session's own class.
        return QCoreApplication::translate(sessionClass, row.text);
    case FailureRow::ServiceText:
        return reply->serviceDescription();
    case FailureRow::NetworkText:
        return reply->errorString();
    }
    return QString::fromUtf8(row.text);
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

bool AbstractSession::failedTransiently() const { return m_failedTransiently; }

void AbstractSession::checkLoginType()
{
    const QUrl url(NApplication::instance().urlsManager()->widgetSettingsUrl());
    QNetworkReply *reply = NNetworkAccessManager::getManager()->get(QNetworkRequest(url));

    // Released even when the session is gone before the answer comes.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        const ServiceReply answer(reply);
        if (answer.failed()) {
            m_loginType = 0;
            _reportFailure(SettingsUnreachable, answer);
            return;
        }
        const QJsonObject settingsObject = answer.answer();
        if (settingsObject.contains(QStringLiteral("proxyLogin"))) {
            m_loginType = settingsObject.value(QStringLiteral("proxyLogin")).toBool() ? 2 : 1;
        } else if (answer.hasServiceError()) {
            m_loginType = 0;
            _reportFailure(SettingsRefused, answer);
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

    _setIdentity(payload, payload.value(QStringLiteral("username")).toString());

    Q_EMIT refreshed({{QStringLiteral("access_token"), jwt}});
    return true;
}

void AbstractSession::_setIdentity(const QJsonObject &payload, const QString &userName)
{
    const QString subject = payload.value(QStringLiteral("sub")).toString();
    const QString externalAccountId = payload.value(QStringLiteral("external_account_id")).toString();

    _setLogin(payload.value(QStringLiteral("email")).toString());
    _setUserId(subject);
    _setUserName(userName);
    _setAccessKey(payload.value(QStringLiteral("nimbla_login_access_key")).toString());
    _setMerchantId(QString::number(payload.value(QStringLiteral("publisher_id")).toDouble(0), 'g', 6));
    _setExternalUserId(externalAccountId);

    _updateErrorTags(subject, userName, externalAccountId);
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

void AbstractSession::_reportFailure(const FailureRow &row)
{
    Q_ASSERT_X(std::all_of(row.logSteps.cbegin(), row.logSteps.cend(),
                           [](const FailureRow::LogStep &step) { return step.shape == FailureRow::FixedLine; })
                       && row.details != FailureRow::ServiceDescription
                       && row.details != FailureRow::NetworkErrorString && row.textSource != FailureRow::ServiceText
                       && row.textSource != FailureRow::NetworkText,
               "_reportFailure", "a row that quotes a reply needs the reply");
    _tellFailure(row, nullptr);
}

void AbstractSession::_reportFailure(const FailureRow &row, const ServiceReply &reply)
{
    _tellFailure(row, &reply);
}

void AbstractSession::_tellFailure(const FailureRow &row, const ServiceReply *reply)
{
    // Known before error() is emitted: its receivers ask.
    m_failedTransiently = reply && reply->transient();
    QVector<QStringList> lines;
    for (const FailureRow::LogStep &step : row.logSteps)
        lines << criticalLines(step, reply);
    int nextStep = 0;
    for (const FailureRow::Channel channel : row.order) {
        switch (channel) {
        case FailureRow::Log:
            for (const QString &line : lines.at(nextStep++))
                qCCritical(row.category).noquote() << line;
            break;
        case FailureRow::Event:
            EventsTracker::instance().trackNimblaEvent(QString::fromUtf8(row.eventName), QVariant());
            break;
        case FailureRow::Report:
            _logError(QString::fromUtf8(row.reportTitle), failureDetails(row, reply, lines));
            break;
        case FailureRow::Error:
            Q_EMIT error(failureText(row, reply, metaObject()->className()));
            break;
        }
    }
}

} // namespace NimblaSDK
