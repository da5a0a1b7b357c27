#include "nimblaloginsession.h"

#include "authlogging_p.h"
#include "eventstracker.h"
#include "failurerow_p.h"
#include "jwt/nimblaloginjwtvalidator.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "passwordlogin_p.h"
#include "platform/desktopservices_p.h"
#include "servicereply_p.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrlQuery>

namespace NimblaSDK {

namespace {

const char *const FailedEvent = "LoginPassAuthFailed";
const char *const LoginFailed = "loading login_url failed ";
const char *const IncorrectTitle = "NimblaLogin: Login or password is incorrect";
const char *const Incorrect = QT_TRANSLATE_NOOP("NimblaSDK::NimblaLoginSession", "Login or password is incorrect");

const FailureRow NoSavedAccount = FailureRow(lcSession)
        .translatedError(QT_TRANSLATE_NOOP("NimblaSDK::NimblaLoginSession",
                                           "Could not log in via the saved account.\n Please use your email and password or log in via a social network."))
        .report("NimblaLogin: Failed auth via saved account");
const FailureRow NetworkFailure = FailureRow(lcSession)
        .logReply(FailureRow::NetworkLine, LoginFailed)
        .event(FailedEvent)
        .report("NimblaLogin: Authorization failed", FailureRow::FirstLogLine)
        .errorFromNetwork();
// The service's captcha answer is a prompt, not a failure: no event, no error().
const FailureRow CaptchaDemanded = FailureRow(lcSession)
        .logReply(FailureRow::ServiceLines, LoginFailed)
        .report("NimblaLogin: Incorrect captcha");
// The service's own text goes to the player unchanged.
const FailureRow Refused = FailureRow(lcSession)
        .logReply(FailureRow::ServiceLines, LoginFailed)
        .event(FailedEvent)
        .report("NimblaLogin: Failed auth", FailureRow::ServiceDescription)
        .errorFromService();
const FailureRow Unauthorized = FailureRow(lcSession)
        .logReply(FailureRow::RawLines, LoginFailed)
        .event(FailedEvent)
        .report(IncorrectTitle)
        .translatedError(Incorrect);
const FailureRow ErrorInAnswer = FailureRow(lcSession)
        .logReply(FailureRow::ServiceLines, LoginFailed)
        .event(FailedEvent)
        .report(IncorrectTitle)
        .translatedError(Incorrect);

void trackEvent(const QString &name)
{
    EventsTracker::instance().trackNimblaEvent(name, QVariant());
}

} // namespace

NimblaLoginSession::NimblaLoginSession(QObject *parent)
    : AbstractSession(parent)
{
    const CredentialRecord account = PasswordLogin::savedAccount();
    setLogin(account.userName);
    setPassword(account.secret);
    setRememberMe(true);
}

QString NimblaLoginSession::login() const { return m_login; }
QString NimblaLoginSession::password() const { return m_password; }
bool NimblaLoginSession::rememberMe() const { return m_rememberMe; }
QString NimblaLoginSession::singleTimeAccessToken() const { return m_singleTimeAccessToken; }

void NimblaLoginSession::setLogin(const QString &login)
{
    if (login == m_login)
        return;
    m_login = login;
    Q_EMIT loginChanged(login);
}

void NimblaLoginSession::setPassword(const QString &password)
{
    if (password == m_password)
        return;
    m_password = password;
    Q_EMIT passwordChanged(password);
}

void NimblaLoginSession::setRememberMe(bool rememberMe)
{
    if (rememberMe == m_rememberMe)
        return;
    m_rememberMe = rememberMe;
    Q_EMIT rememberMeChanged(rememberMe);
}

void NimblaLoginSession::setSingleTimeAccessToken(const QString &token)
{
    m_singleTimeAccessToken = token;
    Q_EMIT singleTimeAccessTokenChanged();
}

void NimblaLoginSession::setJwtValidator(QSharedPointer<NimblaLoginJwtValidator> validator)
{
    if (m_jwtValidator)
        m_jwtValidator->disconnect(this);
    m_jwtValidator = validator;
    if (!m_jwtValidator)
        return;
    connect(m_jwtValidator.data(), &IJwtValidator::valid, this, &NimblaLoginSession::jwtValid);
    connect(m_jwtValidator.data(), &IJwtValidator::invalid, this, &NimblaLoginSession::jwtInvalid);
}

void NimblaLoginSession::logout()
{
    PasswordLogin::forgetAccount();
}

void NimblaLoginSession::tryLogin()
{
    if (!m_singleTimeAccessToken.isEmpty()) {
        if (m_jwtValidator)
            m_jwtValidator->validate(m_singleTimeAccessToken);
        else
            jwtValid();
        return;
    }

    if (m_login.isEmpty() || m_password.isEmpty()) {
        _reportFailure(NoSavedAccount);
        return;
    }

    // A project whose login type is still unknown goes through the proxy.
    const UrlsManager *urls = NApplication::instance().urlsManager();
    const QUrl url(loginType() == 1 ? urls->loginUrl() : urls->proxyLoginUrl());
    qCDebug(lcSession) << "LOGIN URL" << url;

    const QJsonObject credentials{
        {QStringLiteral("username"), m_login},
        {QStringLiteral("password"), m_password},
        {QStringLiteral("remember_me"), m_rememberMe},
    };
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    QNetworkReply *reply = NNetworkAccessManager::getManager()->post(request, QJsonDocument(credentials).toJson());
    // Released even when the session is gone before the answer comes.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] { _onLoginReply(reply); });
}

void NimblaLoginSession::_onLoginReply(QNetworkReply *reply)
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
        const QString loginUrl = body.value(QStringLiteral("login_url")).toString();
        const QString token = QUrlQuery(QUrl(loginUrl)).queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded);
        _processJWT(token);
        if (!accessKey().isEmpty()) {
            PasswordLogin::saveAccount(m_login, m_password);
            NApplication::instance().settingsManager()->setRememberMe(m_rememberMe);
            trackEvent(QStringLiteral("LoginPassAuthSuccessed"));
            _finishAuth();
        } else {
            // No access key yet: the service wants the privacy policy accepted
            // on its page before it lets the account in.
            DesktopServices::openUrl(QUrl(loginUrl));
            Q_EMIT privatePolicyIsNeeded(loginUrl);
        }
    }

    // Checked even after a finished sign-in: the service can accept the
    // password and still refuse the account in the same answer.
    if (answer.hasServiceError())
        _reportFailure(ErrorInAnswer, answer);
}

void NimblaLoginSession::jwtValid()
{
    qCDebug(lcSession) << "Access token validation finished successfully.";
    _processJWT(m_singleTimeAccessToken);
    // The empty text is deliberate: the session manager shows its own message.
    if (accessKey().isEmpty())
        Q_EMIT error(QString());
    else
        _finishAuth();
}

void NimblaLoginSession::jwtInvalid()
{
    Q_EMIT error(QString());
}

} // namespace NimblaSDK
