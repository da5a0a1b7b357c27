#include "authmanager.h"

#include "authlogging_p.h"
#include "errorinfo.h"
#include "errorlogger.h"
#include "jwt/nimblaloginjwtvalidator.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "servicereply_p.h"
#include "sessions/jwtloginsession.h"
#include "sessions/mailrusession.h"
#include "sessions/nimblaloginoauthsession.h"
#include "sessions/nimblaloginsession.h"
#include "sessions/playfabloginsession.h"
#include "sessions/socialnetworkoauthsession.h"
#include "sessions/socialnetworksession.h"
#include "sessions/steamoauthsession.h"
#include "sessions/steamplayfabsession.h"
#include "sessions/steamsession.h"
#include "sessions/stonesession.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QMetaEnum>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSharedPointer>
#include <QUrl>

namespace NimblaSDK {

namespace {

const QString TypeKey = QStringLiteral("type");
const QString ProviderKey = QStringLiteral("provider");
const QString StateKey = QStringLiteral("state");

SDKSettings *settings()
{
    return NApplication::instance().settingsManager();
}

const ConfigManager *config()
{
    return NApplication::instance().configManager();
}

QMetaEnum sessionTypeEnum()
{
    const QMetaObject &meta = AuthManager::staticMetaObject;
    return meta.enumerator(meta.indexOfEnumerator("SessionType"));
}

QVariantList providersOf(const QJsonObject &socialLinks)
{
    QVariantList providers;
    for (const char *group : {"primary", "secondary", "other"}) {
        for (const QJsonValue &entry : socialLinks.value(QLatin1String(group)).toArray()) {
            const QJsonObject provider = entry.toObject();
            providers.append(QVariantMap{{QStringLiteral("title"), provider.value(QStringLiteral("name")).toString()},
                                         {QStringLiteral("link"), provider.value(QStringLiteral("url")).toString()}});
        }
    }
    return providers;
}

} // namespace

AuthManager::AuthManager(QObject *parent)
    : QObject(parent)
    , m_storage(QStringLiteral("%1Session").arg(NApplication::instance().appAccountName()))
    , m_rememberMe(settings()->rememberMe())
{
    connect(&m_otpExchanger, &IOtpExchanger::exchanged, this, &AuthManager::otpExchanged);
    connect(&m_otpExchanger, &IOtpExchanger::error, this, &AuthManager::otpExchangeError);
    downloadSocialProviders();
}

AuthManager::~AuthManager()
{
    closeCurrentSession();
}

AbstractSession *AuthManager::CurrentSession() const
{
    return m_currentSession;
}

bool AuthManager::rememberMe() const
{
    return m_rememberMe;
}

QVariantList AuthManager::socialProviders() const
{
    return m_socialProviders;
}

bool AuthManager::isAutologin() const
{
    return m_isAutologin;
}

bool AuthManager::isOAuth2Available() const
{
    return config()->oauth2Enabled() && config()->oauth2ClientId() > 0;
}

bool AuthManager::isSocialProvidersLoaded() const
{
    return m_socialProvidersLoaded;
}

QString AuthManager::sessionTypeToString(SessionType type)
{
    return QString::fromLatin1(sessionTypeEnum().valueToKey(type));
}

AuthManager::SessionType AuthManager::stringToSessionType(const QString &text)
{
    bool known = false;
    const int value = sessionTypeEnum().keyToValue(text.toUtf8().constData(), &known);
    return known ? static_cast<SessionType>(value) : Undefined;
}

void AuthManager::_setCurrentSession(AbstractSession *session)
{
    if (session == m_currentSession)
        return;
    closeCurrentSession();
    m_currentSession = session;
    if (m_currentSession) {
        connect(m_currentSession, &AbstractSession::refreshed, this, &AuthManager::sessionRefreshed);
        connect(m_currentSession, &AbstractSession::error, this, &AuthManager::sessionError);
        connect(m_currentSession, &AbstractSession::loginFinished, this, &AuthManager::sessionLoginFinished);
    }
    Q_EMIT currentSessionChanged();
}

void AuthManager::closeCurrentSession()
{
    if (!m_currentSession)
        return;
    m_currentSession->logout();
    // Deleted at once, not later: a session still alive could answer a reply
    // of its own after the next method has started.
    delete m_currentSession;
    m_currentSession = nullptr;
}

void AuthManager::loginViaNimblaLogin()
{
    auto *session = new NimblaLoginSession(this);
    _setCurrentSession(session);
    session->checkLoginType();
}

void AuthManager::loginViaJwt()
{
    auto *session = new JwtLoginSession(this);
    _setCurrentSession(session);
    session->setJwtToken(settings()->getJWT());
    session->tryLogin();
}

void AuthManager::loginViaNimblaLogin(QString login, QString password, bool rememberMe)
{
    auto *session = new NimblaLoginSession(this);
    _setCurrentSession(session);
    session->setLogin(login);
    session->setPassword(password);
    session->setRememberMe(rememberMe);
    session->checkLoginType();
}

void AuthManager::loginViaPlayfab()
{
    auto *session = new PlayfabLoginSession(this);
    _setCurrentSession(session);
    session->tryLogin();
}

void AuthManager::loginViaPlayfab(QString login, QString password, bool rememberMe)
{
    auto *session = new PlayfabLoginSession(this);
    _setCurrentSession(session);
    session->setLogin(login);
    session->setPassword(password);
    session->setRememberMe(rememberMe);
    session->tryLogin();
}

void AuthManager::loginViaSteamToPlayfab()
{
    auto *session = new SteamPlayfabSession(this);
    _setCurrentSession(session);
    session->tryLogin();
}

void AuthManager::loginViaSocialNetwork(QString url)
{
    auto *session = new SocialNetworkSession(this);
    _setCurrentSession(session);
    session->setNetworkLink(url);
    session->tryLogin();
}

void AuthManager::loginViaSocialNetworkOAuth(QString providerName, QJsonObject sessionState)
{
    auto *session = new SocialNetworkOAuthSession(providerName, this);
    _setCurrentSession(session);
    if (sessionState.isEmpty()) {
        session->tryLogin();
        return;
    }
    session->setSessionState(sessionState);
    session->refresh();
}

void AuthManager::loginViaSteam(QString steamAppId)
{
    auto *session = new SteamSession(this);
    _setCurrentSession(session);
    session->setSteamAppId(steamAppId);
    session->tryLogin();
}

void AuthManager::loginViaSteamOAuth(QString steamAppId)
{
    auto *session = new SteamOAuthSession(this);
    _setCurrentSession(session);
    session->setSteamAppId(steamAppId);
    session->tryLogin();
}

void AuthManager::loginViaMail(QString uid, QString ticket)
{
    auto *session = new MailRuSession(this);
    _setCurrentSession(session);
    session->setUid(uid);
    session->setTicked(ticket);
    session->tryLogin();
}

void AuthManager::loginViaNimblaLoginOAuth()
{
    auto *session = new NimblaLoginOAuthSession(this);
    _setCurrentSession(session);
    session->checkLoginType();
}

void AuthManager::loginViaNimblaLoginOAuth(QString login, QString password, bool rememberMe)
{
    auto *session = new NimblaLoginOAuthSession(this);
    _setCurrentSession(session);
    session->setLogin(login);
    session->setPassword(password);
    session->setRememberMe(rememberMe);
    session->checkLoginType();
}

void AuthManager::loginViaNimblaLoginOAuth(QJsonObject sessionState)
{
    auto *session = new NimblaLoginOAuthSession(this);
    _setCurrentSession(session);
    session->setSessionState(sessionState);
    session->refresh();
}

void AuthManager::loginViaStone(QString stoneAppId)
{
    auto *session = new StoneSession(this, stoneAppId);
    _setCurrentSession(session);
    session->tryLogin();
}

void AuthManager::loginWithOtp(QString otp)
{
    // The service accepting the token at the attributes endpoint is the verdict on it.
    auto validator = QSharedPointer<NimblaLoginJwtValidator>::create(nullptr);
    validator->setTestEndpoint(QUrl(NApplication::instance().urlsManager()->getUserAttributesUrl()));
    auto *session = new NimblaLoginSession(this);
    session->setSingleTimeAccessToken(otp);
    session->setJwtValidator(validator);
    _setCurrentSession(session);
    session->checkLoginType();
}

bool AuthManager::tryLoginWithOtp()
{
    m_otpProvider.setProjectName(config()->productName());
    const QString otp = m_otpProvider.read();
    if (otp.isEmpty()) {
        qCDebug(lcAuthManager) << "No OTP is found.";
        return false;
    }
    qCDebug(lcAuthManager).noquote() << "OTP is found: " + otp;
    m_otpExchanger.exchange(otp);
    setAutologin(true);
    return true;
}

void AuthManager::otpExchanged(IOtpExchanger::CredentialType credentialType, QJsonObject credentialValue)
{
    // Used once, whatever it brought.
    m_otpProvider.remove();
    switch (credentialType) {
    case IOtpExchanger::JwtToken:
        loginWithOtp(credentialValue.value(QStringLiteral("jwt")).toString());
        break;
    case IOtpExchanger::OAuth2: {
        // The empty text only tells the interface that OAuth2 is switched off;
        // the tokens the service handed out are used all the same.
        if (!isOAuth2Available())
            Q_EMIT error(QString());
        const QJsonObject state{
                {AbstactOAuthSession::SessionAccessToken,
                 credentialValue.value(AbstactOAuthSession::SessionAccessToken).toString()},
                {AbstactOAuthSession::SessionRefreshToken, credentialValue.value(AbstactOAuthSession::SessionRefreshToken).toString()}};
        // A sign-in by one-time password over OAuth2 is always remembered.
        setRememberMe(true);
        auto *session = new NimblaLoginOAuthSession(this);
        _setCurrentSession(session);
        session->setSessionState(state);
        session->refresh();
        break;
    }
    }
}

void AuthManager::otpExchangeError()
{
    qCWarning(lcAuthManager) << "OTP Exchange finished with error.";
    m_otpProvider.remove();
    setAutologin(false);
}

void AuthManager::logout()
{
    qCDebug(lcAuthManager) << "AuthManager logout";
    // The interface re-reads CurrentSession after logging out; nothing announces it.
    closeCurrentSession();
    if (m_rememberMe) {
        m_rememberMe = false;
        Q_EMIT rememberMeChanged();
        removeSavedSessionState();
        settings()->setRememberMe(false);
        settings()->settingsSync();
    }
    setAutologin(false);
}

void AuthManager::setRememberMe(bool rememberMe)
{
    if (rememberMe == m_rememberMe)
        return;
    m_rememberMe = rememberMe;
    Q_EMIT rememberMeChanged();
    if (m_rememberMe) {
        saveCurrentSessionState();
        return;
    }
    removeSavedSessionState();
    settings()->setRememberMe(false);
    settings()->settingsSync();
}

void AuthManager::saveRememberMeState()
{
    settings()->setRememberMe(m_rememberMe);
    settings()->settingsSync();
}

void AuthManager::setAutologin(bool autologin)
{
    if (autologin == m_isAutologin)
        return;
    m_isAutologin = autologin;
    Q_EMIT isAutologinChanged();
}

void AuthManager::sessionLoginFinished()
{
    qCDebug(lcAuthManager) << "User authorized successfully.";
}

void AuthManager::sessionRefreshed(QVariantMap sessionParameters)
{
    Q_UNUSED(sessionParameters)
    if (m_rememberMe)
        saveCurrentSessionState();
}

void AuthManager::sessionError(QString errorMsg)
{
    // The interface hears the message from the session itself; here it only
    // means that the remembered session is not worth trying again, unless the
    // service was never heard: a player who starts offline stays remembered.
    Q_UNUSED(errorMsg)
    setAutologin(false);
    if (m_currentSession && m_currentSession->failedTransiently()) {
        qCDebug(lcAuthManager) << "The service is out of reach; the remembered session is kept.";
        return;
    }
    removeSavedSessionState();
}

void AuthManager::saveSessionState(const QJsonObject &sessionState)
{
    // Only the refresh token is kept: restoring means refreshing. Written off
    // the GUI thread: this runs on every refresh, and a vault write is several
    // round trips to the keyring daemon; the outcome was never looked at.
    QJsonObject inner;
    const QJsonValue refreshToken = sessionState.value(AbstactOAuthSession::SessionRefreshToken);
    if (!refreshToken.isUndefined())
        inner.insert(AbstactOAuthSession::SessionRefreshToken, refreshToken);

    if (auto *social = qobject_cast<SocialNetworkOAuthSession *>(m_currentSession)) {
        m_storage.saveLater({{TypeKey, sessionTypeToString(OAuth2)},
                        {ProviderKey, social->providerName()},
                        {StateKey, inner}});
    } else if (qobject_cast<NimblaLoginOAuthSession *>(m_currentSession)) {
        m_storage.saveLater({{TypeKey, sessionTypeToString(NimblaOAuth2)}, {StateKey, inner}});
    }
}

void AuthManager::saveCurrentSessionState()
{
    if (auto *session = qobject_cast<AbstactOAuthSession *>(m_currentSession))
        saveSessionState(session->sessionState());
    saveRememberMeState();
}

void AuthManager::removeSavedSessionState()
{
    m_storage.removeLater();
}

bool AuthManager::tryAutoLogin()
{
    const QJsonObject record = m_storage.read();
    if (record.isEmpty())
        return false;
    qCDebug(lcAuthManager).noquote() << "Trying to restore last saved session from "
                                            + QString::fromUtf8(QJsonDocument(record).toJson(QJsonDocument::Indented));

    const QString typeText = record.value(TypeKey).toString();
    switch (stringToSessionType(typeText)) {
    case OAuth2: {
        setAutologin(true);
        const QJsonObject state = record.value(StateKey).toObject();
        auto *session = new SocialNetworkOAuthSession(record.value(ProviderKey).toString(), this);
        _setCurrentSession(session);
        if (state.isEmpty()) {
            session->tryLogin();
        } else {
            session->setSessionState(state);
            session->refresh();
        }
        return true;
    }
    case NimblaOAuth2:
        setAutologin(true);
        loginViaNimblaLoginOAuth(record.value(StateKey).toObject());
        return true;
    case Undefined:
        break;
    }
    qCWarning(lcAuthManager).noquote() << "Unknown session type:" << typeText;
    return false;
}

void AuthManager::downloadSocialProviders()
{
    QUrl url(NApplication::instance().urlsManager()->socialNetworksListUrl());
    if (isOAuth2Available())
        url.setQuery(_getQueryForOAuthSocialProviders(url));

    QNetworkReply *reply = NNetworkAccessManager::getManager()->get(QNetworkRequest(url));
    // Released even when the manager is gone before the answer comes.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply, url] { _onSocialProvidersReply(reply, url); });
}

QUrlQuery AuthManager::_getQueryForOAuthSocialProviders(const QUrl &url) const
{
    // Added, not replaced: the service reads the first of repeated items. The
    // state is a placeholder; the OAuth2 sign-in builds its own request.
    QUrlQuery query(url);
    query.removeQueryItem(QStringLiteral("login_url"));
    query.addQueryItem(QStringLiteral("login_url"), QStringLiteral("http://localhost:8000"));
    query.addQueryItem(QStringLiteral("redirect_uri"), QStringLiteral("http://localhost:8000"));
    query.addQueryItem(QStringLiteral("client_id"), QString::number(config()->oauth2ClientId()));
    query.addQueryItem(QStringLiteral("scope"), QStringLiteral("offline"));
    query.addQueryItem(QStringLiteral("state"), QStringLiteral("12345678"));
    query.addQueryItem(QStringLiteral("response_type"), QStringLiteral("code"));
    return query;
}

void AuthManager::_onSocialProvidersReply(QNetworkReply *reply, const QUrl &url)
{
    const ServiceReply answer(reply);
    if (answer.failed()) {
        const QString failure = QStringLiteral("Failed download social providers");
        const QString message = QStringLiteral("Failed load social providers. Error code: %1; erro msg: %2")
                                        .arg(static_cast<int>(answer.networkError()))
                                        .arg(answer.errorString());
        qCCritical(lcAuthManager).noquote() << message;
        ErrorInfo info;
        info.message = failure;
        info.details = message;
        info.extra.insert(QStringLiteral("request_url"), url.toString());
        info.area = QStringLiteral("authorization");
        ErrorLogger::instance(ErrorLoggerSettings()).logError(info);
        Q_EMIT error(failure);
        return;
    }

    const QJsonObject list = answer.answer();
    if (!list.contains(QStringLiteral("socialLinks"))) {
        qCCritical(lcAuthManager) << "There are no social providers in login settings.";
        m_socialProviders.clear();
        Q_EMIT socialProvidersChanged(m_socialProviders);
        return;
    }
    m_socialProviders = providersOf(list.value(QStringLiteral("socialLinks")).toObject());
    emitSocialProvidersChanged();
}

void AuthManager::emitSocialProvidersChanged()
{
    m_socialProvidersLoaded = true;
    Q_EMIT socialProvidersChanged(m_socialProviders);
}

} // namespace NimblaSDK
