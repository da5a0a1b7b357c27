#include "socialnetworkoauthsession.h"

#include "napplication.h"
#include "sessions/browsersignin_p.h"
#include "server/handleroauthfactory.h"
#include "server/httpserver.h"

#include <QDesktopServices>
#include <QLoggingCategory>
#include <QTimer>
#include <QUrlQuery>

namespace NimblaSDK {

namespace {

Q_LOGGING_CATEGORY(lcSocialOAuth, "NimblaSDK.Auth.SocialNetworkOAuthSession")

const ConfigManager *config()
{
    return NApplication::instance().configManager();
}

} // namespace

SocialNetworkOAuthSession::SocialNetworkOAuthSession(const QString &providerName, QObject *parent)
    : AbstactOAuthSession(parent)
    , m_providerName(providerName)
    , m_timer(new QTimer(this))
    , m_server(new HttpServer<HandlerOAuthFactory>(this))
    , m_state(_generateState())
{
    m_timer->setInterval(config()->authorizationTimeout());
    m_timer->setSingleShot(true);
    connect(m_server, &IHttpServer::callbackSuccess, this, &SocialNetworkOAuthSession::_onCallbackSuccess,
            Qt::QueuedConnection);
    connect(m_server, &IHttpServer::callbackError, this, &SocialNetworkOAuthSession::_onCallbackError,
            Qt::QueuedConnection);
    connect(m_timer, &QTimer::timeout, this, &SocialNetworkOAuthSession::_onTimeout);
}

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
    startBrowserSignIn([this] { _startLogin(); });
}

void SocialNetworkOAuthSession::_startLogin()
{
    if (m_providerName.isEmpty()) {
        const QString notChosen = QStringLiteral("Social provider not chosen");
        Q_EMIT error(notChosen);
        qCCritical(lcSocialOAuth).noquote() << notChosen;
        _logError(QStringLiteral("SocialAuth: Social provider not choosen"), QString());
        return;
    }

    m_timer->stop();
    m_timer->start();
    m_server->start();
    m_waiting = true;
    qCDebug(lcSocialOAuth).noquote() << "State:" << m_state;

    // The service reads the items in this order, after any of the template's own.
    QUrl url = loginEndpointUrl();
    QUrlQuery query(url);
    query.addQueryItem(QStringLiteral("client_id"), QString::number(config()->oauth2ClientId()));
    query.addQueryItem(QStringLiteral("response_type"), QStringLiteral("code"));
    query.addQueryItem(QStringLiteral("state"), m_state);
    m_redirectUri = QStringLiteral("http://localhost:") + QString::number(m_server->port());
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
    const QString address = url.toString();

    Q_EMIT loginUrlIsReady(address);
    qCInfo(lcSocialOAuth).noquote() << address;
    if (!QDesktopServices::openUrl(url)) {
        Q_EMIT openUrlExternallyError(address);
        m_timer->stop();
        m_server->stop();
        m_waiting = false;
    }
}

bool SocialNetworkOAuthSession::_takeCallback()
{
    // A second callback of one attempt (a reloaded page, a browser that
    // retries) has nothing left to finish.
    const bool waiting = m_waiting;
    m_waiting = false;
    return waiting;
}

void SocialNetworkOAuthSession::_onCallbackSuccess(const QString &code, const QString &csrfToken)
{
    if (!_takeCallback())
        return;
    m_server->stop();
    m_timer->stop();
    if (csrfToken == m_state)
        _oauthGetJwt(code, m_redirectUri, false);
    else
        Q_EMIT error(tr("Login url is compromised"));
}

void SocialNetworkOAuthSession::_onCallbackError()
{
    if (!_takeCallback())
        return;
    qCInfo(lcSocialOAuth) << "Social Auth with OAuth2 Failed!";
    m_server->stop();
    m_timer->stop();
    Q_EMIT error(QStringLiteral("Network error"));
    _logError(QStringLiteral("Social auth: network error"), QString());
    qCCritical(lcSocialOAuth) << "Can't get JWT token";
}

void SocialNetworkOAuthSession::_onTimeout()
{
    Q_EMIT error(QStringLiteral("Authorization timeout"));
    m_server->stop();
    _logError(QStringLiteral("Social auth: Timeout error"), QString());
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
