#include "nimblaloginoauthsession.h"

#include "authlogging_p.h"
#include "eventstracker.h"
#include "failurerow_p.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "passwordlogin_p.h"
#include "servicereply_p.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrlQuery>

namespace NimblaSDK {

namespace {

const char *const FailedEvent = "LoginPassAuthFailed";
const char *const LoginFailed = "loading login_url failed ";
const char *const IncorrectTitle = "NimblaOAuthLogin: Login or password is incorrect";
const char *const Incorrect = QT_TRANSLATE_NOOP("NimblaSDK::NimblaLoginOAuthSession", "Login or password is incorrect");

const FailureRow NoSavedAccount = FailureRow(lcLoginOAuthSession)
        .translatedError(QT_TRANSLATE_NOOP("NimblaSDK::NimblaLoginOAuthSession",
                                           "Could not log in via the saved account.\n Please use your email and password or log in via a social network."))
        .report("NimblaOAuthLogin: Failed auth via saved account");
const FailureRow NetworkFailure = FailureRow(lcLoginOAuthSession)
        .logReply(FailureRow::NetworkLine, LoginFailed)
        .event(FailedEvent)
        .report("NimblaOAuthLogin: Authorization failed", FailureRow::FirstLogLine)
        .errorFromNetwork();
// Deliberately the plain session's title: both flows report captchas alike.
const FailureRow CaptchaDemanded = FailureRow(lcLoginOAuthSession)
        .logReply(FailureRow::ServiceLines, LoginFailed)
        .report("NimblaLogin: Incorrect captcha");
const FailureRow Refused = FailureRow(lcLoginOAuthSession)
        .logReply(FailureRow::ServiceLines, LoginFailed)
        .event(FailedEvent)
        .report("NimblaOAuthLogin: Failed auth", FailureRow::ServiceDescription)
        .errorFromService();
const FailureRow Unauthorized = FailureRow(lcLoginOAuthSession)
        .logReply(FailureRow::RawLines, LoginFailed)
        .event(FailedEvent)
        .report(IncorrectTitle)
        .translatedError(Incorrect);
// An event of its own: the dashboards tell a refused account from a failed request.
const FailureRow ErrorInAnswer = FailureRow(lcLoginOAuthSession)
        .logReply(FailureRow::ServiceLines, LoginFailed)
        .event("OAuthLoginPassAuthFailed")
        .report(IncorrectTitle)
        .translatedError(Incorrect);
const FailureRow Compromised = FailureRow(lcLoginOAuthSession)
        .translatedError(QT_TRANSLATE_NOOP("NimblaSDK::NimblaLoginOAuthSession", "Login url is compromised"));

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
        _reportFailure(NoSavedAccount);
        return;
    }

    const QString state = _generateState();
    const QString verifier = _generateCodeVerifier();
    qCDebug(lcLoginOAuthSession) << "State:" << state;
    const QUrl url = _withCodeChallenge(QUrl(NApplication::instance().urlsManager()->oauthLoginUrl().arg(state)),
                                        verifier);
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
    // Each attempt checks the answer against its own state, and proves its
    // own code with its own verifier, so overlapping attempts cannot accept
    // each other's redirects.
    connect(reply, &QNetworkReply::finished, this,
            [this, reply, state, verifier] { _onLoginReply(reply, state, verifier); });
}

void NimblaLoginOAuthSession::_onLoginReply(QNetworkReply *reply, const QString &state, const QString &codeVerifier)
{
    const ServiceReply answer(reply);
    switch (answer.outcome()) {
    case ServiceReply::Unauthorized:
        _reportFailure(Unauthorized, answer);
        return;
    case ServiceReply::NetworkError:
        _reportFailure(NetworkFailure, answer);
        return;
    case ServiceReply::Refused:
        if (answer.serviceDescription() == QLatin1String("Invalid captcha")) {
            _reportFailure(CaptchaDemanded, answer);
            Q_EMIT captchaIsNeeded();
        } else {
            _reportFailure(Refused, answer);
        }
        return;
    case ServiceReply::Answered:
        break;
    }

    const QJsonObject body = answer.answer();
    if (body.contains(QStringLiteral("login_url"))) {
        const QUrlQuery redirect(QUrl(body.value(QStringLiteral("login_url")).toString()));
        const QString answeredState = redirect.queryItemValue(QStringLiteral("state"), QUrl::FullyDecoded);
        const QString authorizationCode = redirect.queryItemValue(QStringLiteral("code"), QUrl::FullyDecoded);
        if (answeredState == state) {
            // Saved and counted before the exchange, which may still fail on its own.
            PasswordLogin::saveAccount(m_login, m_password);
            NApplication::instance().settingsManager()->setRememberMe(m_rememberMe);
            trackEvent(QStringLiteral("OAuthLoginPassAuthSuccessed"));
            _oauthGetJwt(authorizationCode, callbackUrl(), false, codeVerifier);
        } else {
            _reportFailure(Compromised);
        }
    }

    if (answer.hasServiceError())
        _reportFailure(ErrorInAnswer, answer);
}

} // namespace NimblaSDK
