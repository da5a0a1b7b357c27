#include "socialnetworksession.h"

#include "authlogging_p.h"
#include "napplication.h"
#include "platform/desktopservices_p.h"
#include "server/handlerfactory.h"
#include "server/httpserver.h"
#include "sessions/browsersignin_p.h"

#include <QUrl>
#include <QUrlQuery>

namespace NimblaSDK {

namespace {

BrowserSignIn::Failures failures()
{
    return {
        FailureRow(lcSocialAuth)
                .error("Social provider not chosen")
                .log("Social provider not chosen")
                .report("SocialAuth: Social provider not choosen"),
        FailureRow(lcSocialAuth)
                .error("Network error")
                .report("Social auth: network error")
                .log("Can't get JWT token"),
        "Social Auth Failed!",
        FailureRow(lcSocialAuth)
                .error("Authorization timeout")
                .report("Social auth: Timeout error"),
    };
}

} // namespace

SocialNetworkSession::SocialNetworkSession(QObject *parent)
    : AbstractSession(parent)
    , m_signIn(std::make_unique<BrowserSignIn>(this, &m_timer, failures(),
                                                [this](const FailureRow &row) { _reportFailure(row); }))
{
}

SocialNetworkSession::~SocialNetworkSession() = default;

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
    m_signIn->start(m_networkLink, [this] { _startLogin(); });
}

void SocialNetworkSession::_startLogin()
{
    const ConfigManager *config = NApplication::instance().configManager();
    m_timer.stop();
    m_timer.setInterval(config->authorizationTimeout());
    m_timer.setSingleShot(true);
    m_timer.start();
    // Made on every attempt and never undone by the handlers below, so a
    // session that tries again runs the time-out once per attempt. Made
    // before the listener starts, so that an attempt whose listener cannot
    // open still ends.
    connect(&m_timer, &QTimer::timeout, this, [this] { m_signIn->timedOut(); });

    // An earlier listener is not deleted: it stays a child of the session, and
    // a sign-in finished on it still counts.
    IHttpServer *server = new HttpServer<HandlerFactory>(this);
    m_signIn->setServer(server);
    server->start();
    connect(server, &IHttpServer::callbackSuccess, this, &SocialNetworkSession::_onCallbackSuccess,
            Qt::QueuedConnection);
    connect(server, &IHttpServer::callbackError, this, &SocialNetworkSession::_onCallbackError,
            Qt::QueuedConnection);

    QUrl url(m_networkLink, QUrl::TolerantMode);
    QUrlQuery query(url);
    if (!config->authFields().isEmpty())
        query.addQueryItem(QStringLiteral("fields"), config->authFields());
    query.addQueryItem(QStringLiteral("login_url"), QStringLiteral("http://localhost:") + QString::number(server->port()));
    url.setQuery(query);
    const QString address = url.toString();

    Q_EMIT loginUrlIsReady(address);
    if (!DesktopServices::openUrl(url)) {
        // The listener keeps running, so a sign-in finished in a browser that
        // the player opens by hand still arrives.
        Q_EMIT openUrlExternallyError(address);
        m_timer.stop();
    }
}

void SocialNetworkSession::_onCallbackSuccess(const QString &jwt)
{
    if (!m_signIn->takeCallback())
        return;
    qCInfo(lcSocialAuth) << "Social Auth Finished!";
    NApplication::instance().settingsManager()->setJWT(jwt);
    _processJWT(jwt);
    m_signIn->stop();
    _finishAuth();
}

void SocialNetworkSession::_onCallbackError()
{
    if (m_signIn->takeCallback())
        m_signIn->callbackFailed();
}

} // namespace NimblaSDK
