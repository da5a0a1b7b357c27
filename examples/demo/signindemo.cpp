#include "signindemo.h"

#include "sessions/jwtloginsession.h"
#include "sessions/nimblaloginoauthsession.h"
#include "sessions/nimblaloginsession.h"
#include "sessions/socialnetworkoauthsession.h"
#include "sessions/socialnetworksession.h"

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
            QStringLiteral("social"), QStringLiteral("social-oauth")};
}

SignInDemo::SignInDemo(QObject *parent)
    : QObject(parent)
{
}

void SignInDemo::start(const QString &method, const Player &player)
{
    m_session = createSession(method, player);
    connect(m_session, &AbstractSession::loginFinished, this, [this] {
        printIdentity();
        Q_EMIT finished(0);
    });
    connect(m_session, &AbstractSession::error, this, [this](const QString &message) {
        out() << "Sign-in failed: " << message << Qt::endl;
        Q_EMIT finished(1);
    });
    out() << "Signing in with " << method << Qt::endl;
    // Password sign-ins first ask the service whether the project logs in directly or through its proxy.
    if (method.endsWith(QLatin1String("password")))
        m_session->checkLoginType();
    else
        m_session->tryLogin();
}

AbstractSession *SignInDemo::createSession(const QString &method, const Player &player)
{
    if (method == QLatin1String("password")) {
        auto *session = new NimblaLoginSession(this);
        session->setLogin(player.login);
        session->setPassword(player.password);
        return session;
    }
    if (method == QLatin1String("oauth-password")) {
        auto *session = new NimblaLoginOAuthSession(this);
        session->setLogin(player.login);
        session->setPassword(player.password);
        return session;
    }
    if (method == QLatin1String("social")) {
        auto *session = new SocialNetworkSession(this);
        session->setNetworkLink(player.socialProviderLink);
        return session;
    }
    if (method == QLatin1String("social-oauth"))
        return new SocialNetworkOAuthSession(player.socialProvider, this);
    auto *session = new JwtLoginSession(this);
    session->setJwtToken(player.jwt);
    return session;
}

void SignInDemo::printIdentity()
{
    out() << "Signed in" << Qt::endl
          << "  login:       " << m_session->login() << Qt::endl
          << "  user id:     " << m_session->userId() << Qt::endl
          << "  user name:   " << m_session->userName() << Qt::endl
          << "  merchant id: " << m_session->merchantId() << Qt::endl;
}
