#include "nimblaloginoauthsession.h"

#include "eventstracker.h"
#include "napplication.h"
#include "networkreply_p.h"
#include "nnetworkaccessmanager.h"
#include "passwordlogin_p.h"

#include <QJsonDocument>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrlQuery>

namespace NimblaSDK {

namespace {

Q_LOGGING_CATEGORY(lcLoginOAuthSession, "logCatNimblaOAuth2.0")

const QString FailedEvent = QStringLiteral("LoginPassAuthFailed");

void trackEvent(const QString &name)
{
    EventsTracker::instance().trackNimblaEvent(name, QVariant());
}

QString callbackUrl()
{
    return NApplication::instance().configManager()->callbackUrl();
}

} // namespace

NimblaLoginOAuthSession::NimblaLoginOAuthSession(QObject *parent)
    : AbstactOAuthSession(parent)
{
    const CredentialRecord account = PasswordLogin::savedAccount();
    setLogin(account.userName);
    setPassword(account.secret);
    setRememberMe(true);
}

QString NimblaLoginOAuthSession::login() const { return m_login; }
QString NimblaLoginOAuthSession::password() const { return m_password; }
bool NimblaLoginOAuthSession::rememberMe() const { return m_rememberMe; }

void NimblaLoginOAuthSession::setLogin(const QString &login)
{
    if (login == m_login)
        return;
    m_login = login;
    Q_EMIT loginChanged(login);
}

void NimblaLoginOAuthSession::setPassword(const QString &password)
{
    if (password == m_password)
        return;
    m_password = password;
    Q_EMIT passwordChanged(password);
}

void NimblaLoginOAuthSession::setRememberMe(bool rememberMe)
{
    if (rememberMe == m_rememberMe)
        return;
    m_rememberMe = rememberMe;
    Q_EMIT rememberMeChanged(rememberMe);
}

void NimblaLoginOAuthSession::logout()
{
    PasswordLogin::forgetAccount();
}

void NimblaLoginOAuthSession::refresh()
{
    _oauthGetJwt(QString(), callbackUrl(), true);
}

QJsonObject NimblaLoginOAuthSession::sessionState() const
{
    return _tokenState();
}

void NimblaLoginOAuthSession::setSessionState(const QJsonObject &state)
{
    _restoreTokenState(state);
}

void NimblaLoginOAuthSession::tryLogin()
{
    if (m_login.isEmpty() || m_password.isEmpty()) {
        Q_EMIT error(tr("Could not log in via the saved account.\n Please use your email and password or log in via a social network."));
        _logError(QStringLiteral("NimblaOAuthLogin: Failed auth via saved account"), QString());
        return;
    }

    const QString state = _generateState();
    qCDebug(lcLoginOAuthSession) << "State:" << state;
    const QUrl url(NApplication::instance().urlsManager()->oauthLoginUrl().arg(state));
    qCDebug(lcLoginOAuthSession) << "LOGIN URL" << url;

    const QJsonObject credentials{
        {QStringLiteral("username"), m_login},
        {QStringLiteral("password"), m_password},
    };
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    QNetworkReply *reply = NNetworkAccessManager::getManager()->post(request, QJsonDocument(credentials).toJson());
    // Released even when the session is gone before the answer comes.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    // Each attempt checks the answer against its own state, so overlapping
    // attempts cannot accept each other's redirects.
    connect(reply, &QNetworkReply::finished, this, [this, reply, state] { _onLoginReply(reply, state); });
}

void NimblaLoginOAuthSession::_onLoginReply(QNetworkReply *reply, const QString &state)
{
    const QByteArray body = replyBody(reply);
    const QJsonObject answer = QJsonDocument::fromJson(body).object();
    const QNetworkReply::NetworkError code = reply->error();
    const bool hasError = answer.contains(QStringLiteral("error"));

    if (code == QNetworkReply::AuthenticationRequiredError) {
        qCCritical(lcLoginOAuthSession) << "loading login_url failed";
        qCCritical(lcLoginOAuthSession).noquote() << "Reply: " + QString::fromUtf8(body);
        trackEvent(FailedEvent);
        _logError(QStringLiteral("NimblaOAuthLogin: Login or password is incorrect"), QString());
        Q_EMIT error(tr("Login or password is incorrect"));
        return;
    }

    if (code != QNetworkReply::NoError) {
        if (!hasError) {
            const QString text = withNetworkErrorCode(QStringLiteral("loading login_url failed ") + reply->errorString(), code);
            qCCritical(lcLoginOAuthSession).noquote() << text;
            trackEvent(FailedEvent);
            _logError(QStringLiteral("NimblaOAuthLogin: Authorization failed"), text);
            Q_EMIT error(reply->errorString());
            return;
        }
        const QString description = errorDescription(answer);
        qCCritical(lcLoginOAuthSession).noquote() << "loading login_url failed " + description;
        qCCritical(lcLoginOAuthSession).noquote() << "Reply: " + QString::fromUtf8(QJsonDocument(answer).toJson());
        if (description == QLatin1String("Invalid captcha")) {
            // Deliberately the plain session's title: both flows report captchas alike.
            _logError(QStringLiteral("NimblaLogin: Incorrect captcha"), QString());
            Q_EMIT captchaIsNeeded();
            return;
        }
        trackEvent(FailedEvent);
        _logError(QStringLiteral("NimblaOAuthLogin: Failed auth"), description);
        Q_EMIT error(description);
        return;
    }

    if (answer.contains(QStringLiteral("login_url"))) {
        const QUrlQuery redirect(QUrl(answer.value(QStringLiteral("login_url")).toString()));
        const QString answeredState = redirect.queryItemValue(QStringLiteral("state"), QUrl::FullyDecoded);
        const QString authorizationCode = redirect.queryItemValue(QStringLiteral("code"), QUrl::FullyDecoded);
        if (answeredState == state) {
            // Saved and counted before the exchange, which may still fail on its own.
            PasswordLogin::saveAccount(m_login, m_password);
            NApplication::instance().settingsManager()->setRememberMe(m_rememberMe);
            trackEvent(QStringLiteral("OAuthLoginPassAuthSuccessed"));
            _oauthGetJwt(authorizationCode, callbackUrl(), false);
        } else {
            Q_EMIT error(tr("Login url is compromised"));
        }
    }

    if (hasError) {
        const QString description = errorDescription(answer);
        qCCritical(lcLoginOAuthSession).noquote() << "loading login_url failed " + description;
        qCCritical(lcLoginOAuthSession).noquote() << "Reply: " + QString::fromUtf8(QJsonDocument(answer).toJson());
        trackEvent(QStringLiteral("OAuthLoginPassAuthFailed"));
        _logError(QStringLiteral("NimblaOAuthLogin: Login or password is incorrect"), QString());
        Q_EMIT error(tr("Login or password is incorrect"));
    }
}

} // namespace NimblaSDK
