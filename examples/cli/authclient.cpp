#include "authclient.h"

#include "attributesdemo.h"

#include "authmanager.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "sessions/nimblaloginoauthsession.h"
#include "sessions/nimblaloginsession.h"
#include "sessions/socialnetworkoauthsession.h"
#include "sessions/socialnetworksession.h"
#include "sessions/steamoauthsession.h"
#include "sessions/steamsession.h"
#include "sessions/stonesession.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QTextStream>

#include <utility>

using namespace NimblaSDK;

namespace {

void print(const QString &text)
{
    QTextStream(stdout) << text << Qt::endl;
}

QString providerTitle(const QVariant &provider)
{
    return provider.toMap().value(QStringLiteral("title")).toString();
}

QString providerLink(const QVariantList &providers, const QString &title)
{
    for (const QVariant &provider : providers) {
        if (providerTitle(provider) == title)
            return provider.toMap().value(QStringLiteral("link")).toString();
    }
    return QString();
}

// Errors below the content and protocol ones: nothing, or nothing whole, came back.
bool isTransportError(QNetworkReply::NetworkError error)
{
    return error != QNetworkReply::NoError && error < QNetworkReply::ContentAccessDenied;
}

template <typename PasswordSession>
void watchPrompts(PasswordSession *session, AuthClient *client, const std::function<void(const QString &)> &refused)
{
    QObject::connect(session, &PasswordSession::captchaIsNeeded, client, [refused] {
        refused(QStringLiteral("the service asks for a captcha; sign in on its website once, then try again"));
    });
    QObject::connect(session, &PasswordSession::privatePolicyIsNeeded, client, [refused](const QString &url) {
        refused(QStringLiteral("accept the privacy policy at %1, then sign in again").arg(url));
    });
}

template <typename BrowserSession>
void watchBrowser(BrowserSession *session, AuthClient *client, const std::function<void(const QString &)> &unusable)
{
    QObject::connect(session, &BrowserSession::openUrlExternallyError, client, [unusable](const QString &url) {
        unusable(QStringLiteral("no browser would open %1; sign in on a desktop, or use --follow-redirects").arg(url));
    });
}

} // namespace

AuthClient::AuthClient(bool json, int timeoutMs, QObject *parent)
    : QObject(parent)
    , m_manager(new AuthManager(this))
    , m_json(json)
{
    m_deadline.setSingleShot(true);
    m_deadline.setInterval(timeoutMs);
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        _fail(Unreachable, QStringLiteral("no answer within %1 seconds").arg(m_deadline.interval() / 1000));
        _abortTransfers();
    });
    // Qt's network manager, torn down with a transfer still running, leaves that transfer's parts
    // behind on its network thread: the transfers still running at the end get a moment to finish,
    // and are ended here after it.
    m_grace.setSingleShot(true);
    m_grace.setInterval(2000);
    connect(&m_grace, &QTimer::timeout, this, [this] {
        _abortTransfers();
        Q_EMIT finished(m_exitCode);
    });
    connect(NNetworkAccessManager::getManager(), &QNetworkAccessManager::finished, this,
            [this](QNetworkReply *reply) { m_lastNetworkError = reply->error(); });
    // The manager asks for the providers as it is made: their answer can come before a command waits for it.
    connect(m_manager, &AuthManager::socialProvidersChanged, this, [this] { _providersAnswered({}); });
    connect(m_manager, &AuthManager::error, this, [this](const QString &message) {
        if (!m_providersAnswered)
            _providersAnswered(message);
    });
}

void AuthClient::setAttributesCheck(bool check)
{
    m_attributesCheck = check;
}

void AuthClient::setEmail(const QString &email)
{
    m_email = email;
}

void AuthClient::signIn(const SignInMethod &method, const SignInInput &input, bool remember, Result result)
{
    m_result = result;
    m_deadline.start();
    if (remember)
        m_manager->setRememberMe(true);
    if (method.kind == SignInMethod::Social)
        _whenProvidersLoaded([this, &method, input] { _signInSocial(method, input); });
    else
        _start(method, input);
}

void AuthClient::_start(const SignInMethod &method, const SignInInput &input)
{
    m_method = &method;
    m_input = input;
    // The manager does not repeat its sessions' outcomes: a launcher listens to the current session.
    connect(m_manager, &AuthManager::currentSessionChanged, this, &AuthClient::_watchSession);
    // A one-time password that the service refuses ends the automatic sign-in before any session exists.
    connect(m_manager, &AuthManager::isAutologinChanged, this, [this] {
        if (!m_manager->isAutologin() && !m_manager->CurrentSession())
            _fail(_failureCode(), QStringLiteral("the one-time password was not accepted"));
    });
    // Nothing remembered or left is the service's answer; anything else is what the command line lacks.
    if (!method.start(*m_manager, input))
        _fail(method.kind == SignInMethod::Startup ? Refused : BadUsage, QString::fromUtf8(method.nothingToStart));
}

void AuthClient::_watchSession()
{
    AbstractSession *session = m_manager->CurrentSession();
    if (!session)
        return;
    connect(session, &AbstractSession::loginFinished, this, [this, session] { _signedIn(session); });
    connect(session, &AbstractSession::error, this, [this](const QString &message) {
        // A token the service does not accept comes without a text: the launcher words it.
        _fail(_failureCode(), message.isEmpty() ? QStringLiteral("the service did not accept the token") : message);
    });
    const auto refused = [this](const QString &why) { _fail(Refused, why); };
    if (auto *password = qobject_cast<NimblaLoginSession *>(session))
        watchPrompts(password, this, refused);
    else if (auto *oauthPassword = qobject_cast<NimblaLoginOAuthSession *>(session))
        watchPrompts(oauthPassword, this, refused);
    const auto unusable = [this](const QString &why) { _fail(BadUsage, why); };
    if (auto *social = qobject_cast<SocialNetworkSession *>(session))
        watchBrowser(social, this, unusable);
    else if (auto *socialOAuth = qobject_cast<SocialNetworkOAuthSession *>(session))
        watchBrowser(socialOAuth, this, unusable);
    if (auto *steam = qobject_cast<SteamSession *>(session))
        _watchEmail(steam);
    else if (auto *steamOAuth = qobject_cast<SteamOAuthSession *>(session))
        _watchEmail(steamOAuth);
    else if (auto *stone = qobject_cast<StoneSession *>(session))
        _watchEmail(stone);
}

// A platform account without an e-mail address, where the product needs one: the address of --email
// is sent once, and the same method signs in again, now with a token that carries it.
template <typename PlatformSession>
void AuthClient::_watchEmail(PlatformSession *session)
{
    connect(session, &PlatformSession::needSendEmail, this, [this, session] {
        if (m_email.isEmpty() || m_emailSent) {
            _fail(Refused, QStringLiteral("the account has no e-mail address, which this product needs; add one in "
                                          "the launcher"));
            return;
        }
        m_emailSent = true;
        session->sendEmail(m_email);
    });
    connect(session, &PlatformSession::sendEmailFinished, this, [this](bool success, const QString &why) {
        if (!success) {
            _fail(_failureCode(), QStringLiteral("the service did not take the e-mail address: %1").arg(why));
            return;
        }
        // From the event loop: the manager deletes the current session, whose signal this is, when it starts the next.
        QMetaObject::invokeMethod(this, [this] { m_method->start(*m_manager, m_input); }, Qt::QueuedConnection);
    });
}

void AuthClient::_signedIn(AbstractSession *session)
{
    if (m_result == Result::Token) {
        _succeed({{"jwt", session->jwt()}}, session->jwt());
        return;
    }
    const QJsonObject identity{{"signedIn", true},
                               {"login", session->login()},
                               {"userName", session->userName()},
                               {"userId", session->userId()},
                               {"merchantId", session->merchantId()},
                               {"remembered", m_manager->rememberMe()}};
    const QString text = QStringLiteral("Signed in\n"
                                        "  login:       %1\n"
                                        "  user name:   %2\n"
                                        "  user id:     %3\n"
                                        "  merchant id: %4\n"
                                        "  remembered:  %5")
                                 .arg(session->login(), session->userName(), session->userId(), session->merchantId(),
                                      m_manager->rememberMe() ? "yes" : "no");
    if (m_attributesCheck)
        _checkAttributes(identity, text, session);
    else
        _succeed(identity, text);
}

void AuthClient::_checkAttributes(const QJsonObject &identity, const QString &text, AbstractSession *session)
{
    auto *attributes = new AttributesDemo(this);
    connect(attributes, &AttributesDemo::finished, this,
            [this, identity, text](const QString &read, const QString &failure) {
                if (!failure.isEmpty()) {
                    _fail(_failureCode(), failure);
                    return;
                }
                QJsonObject result = identity;
                result.insert("attribute", QJsonObject{{"key", AttributesDemo::key()},
                                                       {"written", AttributesDemo::written()},
                                                       {"read", read}});
                _succeed(result, text + QStringLiteral("\n  attribute:   %1 = %2 written, %3 read back")
                                                .arg(AttributesDemo::key(), AttributesDemo::written(), read));
            });
    // The emulator keeps attributes per publisher project; the launcher's own would come from its configuration.
    attributes->run(session->jwt(), session->userId(), 1);
}

void AuthClient::_whenProvidersLoaded(const std::function<void()> &next)
{
    if (!m_providersAnswered && !m_manager->isSocialProvidersLoaded())
        m_afterProviders = next;
    else if (!m_providersFailure.isEmpty())
        _fail(_failureCode(), m_providersFailure);
    else
        next();
}

void AuthClient::_providersAnswered(const QString &failure)
{
    m_providersAnswered = true;
    m_providersFailure = failure;
    if (m_afterProviders)
        _whenProvidersLoaded(std::exchange(m_afterProviders, {}));
}

void AuthClient::_signInSocial(const SignInMethod &method, SignInInput input)
{
    const QVariantList providers = m_manager->socialProviders();
    if (providers.isEmpty()) {
        _fail(Refused, QStringLiteral("the service offers no social provider"));
        return;
    }
    if (input.provider.isEmpty())
        input.provider = providerTitle(providers.first());
    if (providerLink(providers, input.provider).isEmpty()) {
        _fail(BadUsage, QStringLiteral("there is no social provider named \"%1\"; see the providers command")
                                .arg(input.provider));
        return;
    }
    if (!m_manager->isOAuth2Available()) {
        input.providerLink = providerLink(providers, input.provider);
        _start(method, input);
        return;
    }
    // With OAuth2 the manager's list leads into the OAuth2 flow; the plain sign-in needs the
    // provider's own login page, from the list asked for without the OAuth2 query.
    QNetworkReply *reply = NNetworkAccessManager::getManager()->get(
            QNetworkRequest(QUrl(NApplication::instance().urlsManager()->socialNetworksListUrl())));
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply, &method, input]() mutable {
        const QJsonObject groups =
                QJsonDocument::fromJson(reply->readAll()).object().value(QStringLiteral("socialLinks")).toObject();
        for (const QJsonValue &group : groups) {
            for (const QJsonValue &entry : group.toArray()) {
                if (entry.toObject().value(QStringLiteral("name")).toString() == input.provider)
                    input.providerLink = entry.toObject().value(QStringLiteral("url")).toString();
            }
        }
        if (reply->error() != QNetworkReply::NoError)
            _fail(_failureCode(), reply->errorString());
        else
            _start(method, input);
    });
}

void AuthClient::listProviders()
{
    m_deadline.start();
    _whenProvidersLoaded([this] {
        QJsonArray list;
        QStringList lines;
        for (const QVariant &provider : m_manager->socialProviders()) {
            list.append(QJsonObject::fromVariantMap(provider.toMap()));
            const QVariantMap entry = provider.toMap();
            lines << entry.value(QStringLiteral("title")).toString() + QLatin1Char('\t')
                             + entry.value(QStringLiteral("link")).toString();
        }
        _succeed({{"providers", list}}, lines.join(QLatin1Char('\n')));
    });
}

void AuthClient::logout()
{
    // The saved account belongs to the password sessions, which forget it when they log out.
    NimblaLoginSession(nullptr).logout();
    // The manager forgets the remembered session on logout() only while rememberMe is on.
    m_manager->setRememberMe(true);
    m_manager->logout();
    _succeed({{"signedIn", false}}, QStringLiteral("Signed out"));
}

void AuthClient::_succeed(const QJsonObject &result, const QString &text)
{
    if (m_done)
        return;
    m_done = true;
    m_deadline.stop();
    print(m_json ? QString::fromUtf8(QJsonDocument(result).toJson(QJsonDocument::Compact)) : text);
    _end(SignedIn);
}

void AuthClient::_fail(ExitCode code, const QString &why)
{
    if (m_done)
        return;
    m_done = true;
    m_deadline.stop();
    QTextStream(stderr) << QCoreApplication::applicationName() << ": " << why.simplified() << Qt::endl;
    if (m_json) {
        const QJsonObject failure{{"signedIn", false}, {"exitCode", code}, {"error", why}};
        print(QString::fromUtf8(QJsonDocument(failure).toJson(QJsonDocument::Compact)));
    }
    _end(code);
}

void AuthClient::_end(ExitCode code)
{
    m_exitCode = code;
    m_grace.start();
    // From the event loop, so that an outcome known at once still ends it.
    QMetaObject::invokeMethod(this, &AuthClient::_exitWhenQuiet, Qt::QueuedConnection);
}

void AuthClient::_abortTransfers()
{
    for (QNetworkReply *reply : NNetworkAccessManager::getManager()->findChildren<QNetworkReply *>())
        reply->abort();
}

void AuthClient::_exitWhenQuiet()
{
    if (!m_grace.isActive())
        return;
    // A finished reply releases its part on the network thread only when it is deleted, and one deleted
    // after that thread has stopped leaves the part behind: the process ends once every reply is gone.
    const QList<QNetworkReply *> replies = NNetworkAccessManager::getManager()->findChildren<QNetworkReply *>();
    if (!replies.isEmpty()) {
        QNetworkReply *reply = replies.first();
        if (reply->isRunning())
            connect(reply, &QNetworkReply::finished, this, &AuthClient::_exitWhenQuiet, Qt::UniqueConnection);
        else
            connect(reply, &QObject::destroyed, this, &AuthClient::_exitWhenQuiet,
                    static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::UniqueConnection));
        return;
    }
    m_grace.stop();
    Q_EMIT finished(m_exitCode);
}

AuthClient::ExitCode AuthClient::_failureCode() const
{
    return isTransportError(m_lastNetworkError) ? Unreachable : Refused;
}
