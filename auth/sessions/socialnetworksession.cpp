#include "socialnetworksession.h"

#include "napplication.h"
#include "sessions/browsersignin_p.h"
#include "server/handlerfactory.h"
#include "server/httpserver.h"

#include <QDesktopServices>
#include <QLoggingCategory>
#include <QUrl>
#include <QUrlQuery>

namespace NimblaSDK {

namespace {

// Spelled so on purpose: the log dashboards filter on this name.
Q_LOGGING_CATEGORY(lcSocialAuth, "logCatSosialAuth")

} // namespace

SocialNetworkSession::SocialNetworkSession(QObject *parent)
    : AbstractSession(parent)
{
}

QString SocialNetworkSession::networkLink() const
{
    return m_networkLink;
}

void SocialNetworkSession::setNetworkLink(const QString &networkLink)
{
    if (networkLink == m_networkLink)
        return;
    m_networkLink = networkLink;
    Q_EMIT networkLinkChanged(m_networkLink);
}

void SocialNetworkSession::tryLogin()
{
    startBrowserSignIn([this] { _startLogin(); });
}

void SocialNetworkSession::_startLogin()
{
    if (m_networkLink.isEmpty()) {
        const QString notChosen = QStringLiteral("Social provider not chosen");
        Q_EMIT error(notChosen);
        qCCritical(lcSocialAuth).noquote() << notChosen;
        _logError(QStringLiteral("SocialAuth: Social provider not choosen"), QString());
        return;
    }

    const ConfigManager *config = NApplication::instance().configManager();
    m_timer.stop();
    m_timer.setInterval(config->authorizationTimeout());
    m_timer.setSingleShot(true);
    m_timer.start();
    m_waiting = true;
    // Made on every attempt and never undone by the handlers below, so a
    // session that tries again runs the time-out once per attempt. Made
    // before the listener starts, so that an attempt whose listener cannot
    // open still ends.
    connect(&m_timer, &QTimer::timeout, this, &SocialNetworkSession::_onTimeout);

    // An earlier listener is not deleted: it stays a child of the session, and
    // a sign-in finished on it still counts.
    m_server = new HttpServer<HandlerFactory>(this);
    m_server->start();
    connect(m_server, &IHttpServer::callbackSuccess, this, &SocialNetworkSession::_onCallbackSuccess,
            Qt::QueuedConnection);
    connect(m_server, &IHttpServer::callbackError, this, &SocialNetworkSession::_onCallbackError,
            Qt::QueuedConnection);

    QUrl url(m_networkLink, QUrl::TolerantMode);
    QUrlQuery query(url);
    if (!config->authFields().isEmpty())
        query.addQueryItem(QStringLiteral("fields"), config->authFields());
    query.addQueryItem(QStringLiteral("login_url"), QStringLiteral("http://localhost:") + QString::number(m_server->port()));
    url.setQuery(query);
    const QString address = url.toString();

    Q_EMIT loginUrlIsReady(address);
    if (!QDesktopServices::openUrl(url)) {
        // The listener keeps running, so a sign-in finished in a browser that
        // the player opens by hand still arrives.
        Q_EMIT openUrlExternallyError(address);
        m_timer.stop();
    }
}

bool SocialNetworkSession::_takeCallback()
{
    // A second callback of one attempt (a reloaded page, a browser that
    // retries) has nothing left to finish.
    const bool waiting = m_waiting;
    m_waiting = false;
    return waiting;
}

void SocialNetworkSession::_onCallbackSuccess(const QString &jwt)
{
    if (!_takeCallback())
        return;
    qCInfo(lcSocialAuth) << "Social Auth Finished!";
    NApplication::instance().settingsManager()->setJWT(jwt);
    _processJWT(jwt);
    m_server->stop();
    m_timer.stop();
    // Names the session as sender, as every handler here does; the timer's
    // own connections to the session stay in place.
    disconnect(this, nullptr, &m_timer, nullptr);
    _finishAuth();
}

void SocialNetworkSession::_onCallbackError()
{
    if (!_takeCallback())
        return;
    qCInfo(lcSocialAuth) << "Social Auth Failed!";
    m_server->stop();
    m_timer.stop();
    disconnect(this, nullptr, &m_timer, nullptr);
    Q_EMIT error(QStringLiteral("Network error"));
    _logError(QStringLiteral("Social auth: network error"), QString());
    qCCritical(lcSocialAuth) << "Can't get JWT token";
}

void SocialNetworkSession::_onTimeout()
{
    Q_EMIT error(QStringLiteral("Authorization timeout"));
    disconnect(this, nullptr, m_server, nullptr);
    m_server->stop();
    disconnect(this, nullptr, &m_timer, nullptr);
    _logError(QStringLiteral("Social auth: Timeout error"), QString());
}

} // namespace NimblaSDK
