#include "socialnetworkoauthsession.h"

#include "authlogging_p.h"
#include "napplication.h"
#include "platform/desktopservices_p.h"
#include "server/handleroauthfactory.h"
#include "server/httpserver.h"
#include "sessions/browsersignin_p.h"

#include <QTimer>
#include <QUrlQuery>

namespace NimblaSDK {

namespace {

const ConfigManager *config()
{
    return NApplication::instance().configManager();
}

BrowserSignIn::Failures failures()
{
    return {
        FailureRow(lcSocialOAuth)
                .error("Social provider not chosen")
                .log("Social provider not chosen")
                .report("SocialAuth: Social provider not choosen"),
        FailureRow(lcSocialOAuth)
                .error("Network error")
                .report("Social auth: network error")
                .log("Can't get JWT token"),
        "Social Auth with OAuth2 Failed!",
        FailureRow(lcSocialOAuth)
                .error("Authorization timeout")
                .report("Social auth: Timeout error"),
    };
}

const FailureRow Compromised = FailureRow(lcSocialOAuth)
        .translatedError(QT_TRANSLATE_NOOP("NimblaSDK::SocialNetworkOAuthSession", "Login url is compromised"));

} // namespace

SocialNetworkOAuthSession::SocialNetworkOAuthSession(const QString &providerName, QObject *parent)
    : AbstactOAuthSession(parent)
    , m_providerName(providerName)
    , m_timer(new QTimer(this))
    , m_signIn(std::make_unique<BrowserSignIn>(this, m_timer, failures(),
                                                [this](const FailureRow &row) { _reportFailure(row); }))
    , m_state(_generateState())
    // Like the state, one for the session's life: a browser tab of an
    // earlier tryLogin() may still be the one that finishes.
    , m_codeVerifier(_generateCodeVerifier())
{
    // One listener for the session's whole life, connected once.
    IHttpServer *server = new HttpServer<HandlerOAuthFactory>(this);
    m_signIn->setServer(server);
    m_timer->setInterval(config()->authorizationTimeout());
    m_timer->setSingleShot(true);
    connect(server, &IHttpServer::callbackSuccess, this, &SocialNetworkOAuthSession::_onCallbackSuccess,
            Qt::QueuedConnection);
    connect(server, &IHttpServer::callbackError, this, &SocialNetworkOAuthSession::_onCallbackError,
            Qt::QueuedConnection);
    connect(m_timer, &QTimer::timeout, this, [this] { m_signIn->timedOut(); });
}

SocialNetworkOAuthSession::~SocialNetworkOAuthSession() = default;

QString SocialNetworkOAuthSession::providerName() const
{
    return m_providerName;
}

QUrl SocialNetworkOAuthSession::loginEndpointUrl() const
{
    return QUrl(NApplication::instance().urlsManager()->loginAuthViaSocialNetwork().arg(m_providerName),
                QUrl::TolerantMode);
}

void SocialNetworkOAuthSession::tryLogin()
{
    // When the listener cannot start, the time-out ends the attempt.
    m_signIn->start(m_providerName, [this] { _startLogin(); });
}

void SocialNetworkOAuthSession::_startLogin()
{
    IHttpServer *server = m_signIn->server();
    m_timer->stop();
    m_timer->start();
    server->start();
    qCDebug(lcSocialOAuth).noquote() << "State:" << m_state;

    // The service reads the items in this order, after any of the template's own.
    QUrl url = loginEndpointUrl();
    QUrlQuery query(url);
    query.addQueryItem(QStringLiteral("client_id"), QString::number(config()->oauth2ClientId()));
    query.addQueryItem(QStringLiteral("response_type"), QStringLiteral("code"));
    query.addQueryItem(QStringLiteral("state"), m_state);
    m_redirectUri = QStringLiteral("http://localhost:") + QString::number(server->port());
    query.addQueryItem(QStringLiteral("redirect_uri"), m_redirectUri);
    QString scope = QStringLiteral("offline");
    const QString fields = config()->authFields();
    if (!fields.isEmpty()) {
        // Empty parts are kept on purpose: each still adds its blank.
        for (const QString &field : fields.split(QLatin1Char(',')))
            scope += QLatin1Char(' ') + field;
    }
    query.addQueryItem(QStringLiteral("scope"), scope);
    url.setQuery(query);
    url = _withCodeChallenge(url, m_codeVerifier);
    const QString address = url.toString();

    Q_EMIT loginUrlIsReady(address);
    qCInfo(lcSocialOAuth).noquote() << address;
    if (!DesktopServices::openUrl(url)) {
        Q_EMIT openUrlExternallyError(address);
        m_timer->stop();
        server->stop();
        m_signIn->abandon();
    }
}

void SocialNetworkOAuthSession::_onCallbackSuccess(const QString &code, const QString &csrfToken)
{
    if (!m_signIn->takeCallback())
        return;
    m_signIn->stop();
    if (csrfToken == m_state)
        _oauthGetJwt(code, m_redirectUri, false, m_codeVerifier);
    else
        _reportFailure(Compromised);
}

void SocialNetworkOAuthSession::_onCallbackError()
{
    if (m_signIn->takeCallback())
        m_signIn->callbackFailed();
}

void SocialNetworkOAuthSession::refresh()
{
    _oauthGetJwt(QString(), config()->callbackUrl(), true);
}

QJsonObject SocialNetworkOAuthSession::sessionState() const
{
    return _tokenState();
}

void SocialNetworkOAuthSession::setSessionState(const QJsonObject &state)
{
    _restoreTokenState(state);
}

} // namespace NimblaSDK
