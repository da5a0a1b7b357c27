#include "signindemo.h"

#include "abstractsession.h"
#include "authmanager.h"
#include "napplication.h"

#include <QTextStream>

using namespace NimblaSDK;

namespace {

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

} // namespace

QStringList SignInDemo::methods()
{
    return {QStringLiteral("jwt"), QStringLiteral("password"), QStringLiteral("oauth-password"),
            QStringLiteral("social"), QStringLiteral("social-oauth"), QStringLiteral("mailru"),
            QStringLiteral("stone")};
}

SignInDemo::SignInDemo(QObject *parent)
    : QObject(parent)
    , m_manager(new AuthManager(this))
{
    _watchSessions();
}

void SignInDemo::_watchSessions()
{
    // The manager does not repeat its sessions' outcomes: a launcher listens to the current session.
    connect(m_manager, &AuthManager::currentSessionChanged, this, [this] {
        AbstractSession *session = m_manager->CurrentSession();
        if (!session)
            return;
        connect(session, &AbstractSession::loginFinished, this, [this] {
            printIdentity();
            Q_EMIT finished(0);
        });
        connect(session, &AbstractSession::error, this, [this](const QString &message) { _fail(message); });
    });
}

void SignInDemo::_fail(const QString &message)
{
    out() << "Sign-in failed: " << message << Qt::endl;
    Q_EMIT finished(1);
}

void SignInDemo::signIn(const QString &method, const Player &player, bool remember)
{
    out() << "Signing in with " << method << (remember ? " and remembering the session" : "") << Qt::endl;
    if (remember)
        m_manager->setRememberMe(true);
    if (method == QLatin1String("password")) {
        m_manager->loginViaNimblaLogin(player.login, player.password, false);
    } else if (method == QLatin1String("oauth-password")) {
        m_manager->loginViaNimblaLoginOAuth(player.login, player.password, false);
    } else if (method == QLatin1String("social")) {
        m_manager->loginViaSocialNetwork(player.socialProviderLink);
    } else if (method == QLatin1String("social-oauth")) {
        m_manager->loginViaSocialNetworkOAuth(player.socialProvider);
    } else if (method == QLatin1String("mailru")) {
        // The user id and ticket the game centre hands the launcher, for the emulator's game-centre player.
        m_manager->loginViaMail(QStringLiteral("mailru-1001"), QStringLiteral("mailru-ticket-1001"));
    } else if (method == QLatin1String("stone")) {
        // The game's id at the Stone launcher; the launcher library is the stand-in that the emulator's
        // configuration names, and its player is the emulator's Stone player.
        m_manager->loginViaStone(QStringLiteral("4242"));
    } else {
        // The ready token is the one the launcher kept in its settings.
        NApplication::instance().settingsManager()->setJWT(player.jwt);
        m_manager->loginViaJwt();
    }
}

void SignInDemo::restore()
{
    out() << "Restoring the remembered session, without a password" << Qt::endl;
    if (!m_manager->tryAutoLogin())
        _fail(QStringLiteral("there is no remembered session; sign in with --remember first"));
}

void SignInDemo::signInWithOtp()
{
    out() << "Signing in with the one-time password left for the launcher" << Qt::endl;
    // A failed exchange ends the automatic sign-in before any session exists.
    connect(m_manager, &AuthManager::isAutologinChanged, this, [this] {
        if (!m_manager->isAutologin() && !m_manager->CurrentSession())
            _fail(QStringLiteral("the one-time password was not accepted"));
    });
    if (!m_manager->tryLoginWithOtp())
        _fail(QStringLiteral("no one-time password was found"));
}

void SignInDemo::printIdentity()
{
    AbstractSession *session = m_manager->CurrentSession();
    out() << "Signed in" << Qt::endl
          << "  login:       " << session->login() << Qt::endl
          << "  user id:     " << session->userId() << Qt::endl
          << "  user name:   " << session->userName() << Qt::endl
          << "  merchant id: " << session->merchantId() << Qt::endl
          << "  remembered:  " << (m_manager->rememberMe() ? "yes" : "no") << Qt::endl;
}
