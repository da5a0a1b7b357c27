#include "steamoauthsession.h"

#include "authlogging_p.h"
#include "eventstracker.h"
#include "failurerow_p.h"
#include "jwt/jwtcodec.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "servicereply_p.h"
#include "sessions/steamsignin_p.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrlQuery>

namespace NimblaSDK {

namespace {

// "isnt" as the error dashboards group it.
const FailureRow NotRunning = FailureRow(lcSteamOAuth)
        .log("Steam SDK isn't enabled.")
        .error("Check steam client is running")
        .report("Steam: steam client isnt running");
const FailureRow TicketFailed = FailureRow(lcSteamOAuth)
        .error("Check Steam client started")
        .report("Steam: Failed get steam session ticket");
const FailureRow LoginFailed = FailureRow(lcSteamOAuth)
        .errorFromNetwork()
        .report("Steam: Failed auth", FailureRow::NetworkErrorString);
// The outcome is told by sendEmailFinished(), not error().
const FailureRow EmailFailed = FailureRow(lcSteamOAuth)
        .report("Steam: Failed send email", FailureRow::NetworkErrorString);
const FailureRow Compromised = FailureRow(lcSteamOAuth)
        .translatedError(QT_TRANSLATE_NOOP("NimblaSDK::SteamOAuthSession", "Login url is compromised"));
const FailureRow InvalidJwt = FailureRow(lcSteamOAuth)
        .translatedError(QT_TRANSLATE_NOOP("NimblaSDK::SteamOAuthSession", "JWT is invalid"));

QString callbackUrl()
{
    return NApplication::instance().configManager()->callbackUrl();
}

} // namespace

SteamOAuthSession::SteamOAuthSession(QObject *parent)
    : AbstactOAuthSession(parent)
    , m_steam(std::make_unique<SteamSignIn>(
              lcSteamOAuth, [this] { _processSessionTicket(); }, [this] { _reportFailure(TicketFailed); }))
{
}

SteamOAuthSession::~SteamOAuthSession() = default;

void SteamOAuthSession::setSteamAppId(const QString &steamAppId)
{
    m_steamAppId = steamAppId;
}

void SteamOAuthSession::tryLogin()
{
    if (!m_steam->isRunning()) {
        _reportFailure(NotRunning);
        return;
    }
    qCInfo(lcSteamOAuth) << "Start auth via steam with OAuth 2.0";
    m_steam->requestTicket();
}

void SteamOAuthSession::refresh()
{
    _oauthGetJwt(QString(), callbackUrl(), true);
}

void SteamOAuthSession::_processSessionTicket()
{
    // A state and a verifier of their own for every ticket: a redirect of an earlier request is refused.
    const QString state = _generateState();
    const QString verifier = _generateCodeVerifier();
    const QString address = NApplication::instance().urlsManager()->steamOAuthLoginUrl().arg(state, m_steamAppId,
                                                                                             m_steam->ticket());
    QNetworkRequest request(_withCodeChallenge(QUrl(address, QUrl::TolerantMode), verifier));
    // The service answers with a redirect whose address carries the code.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *reply = NNetworkAccessManager::getManager()->get(request);
    // Released even when the session is gone before the answer comes.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply, state, verifier] {
        const ServiceReply answer(reply);
        if (answer.failed()) {
            _reportFailure(LoginFailed, answer);
            return;
        }
        const QUrlQuery redirect(QUrl(QString::fromUtf8(reply->rawHeader("Location"))));
        if (redirect.queryItemValue(QStringLiteral("state"), QUrl::FullyDecoded) != state) {
            _reportFailure(Compromised);
            return;
        }
        EventsTracker::instance().trackNimblaEvent(QStringLiteral("OAuthSteamAuthSuccessed"), QVariant());
        _oauthGetJwt(redirect.queryItemValue(QStringLiteral("code"), QUrl::FullyDecoded), callbackUrl(), false,
                     verifier);
    });
}

void SteamOAuthSession::_onJwtReceived(const QString &jwt)
{
    _processJWT(jwt);
    // Neither recorded nor finished: the sign-in waits for the e-mail.
    if (SteamSignIn::needsEmail(login())) {
        Q_EMIT needSendEmail();
        return;
    }
    _recordAccessToken(jwt);
    _finishAuth();
}

void SteamOAuthSession::_processJWT(const QString &jwt)
{
    _setJwt(jwt);
    JwtCodec codec;
    // Reported, and then the claims are read all the same: an undecodable
    // token leaves an empty identity, which the e-mail check then sees.
    if (!codec.decode(jwt))
        _reportFailure(InvalidJwt);
    // The Steam name, not the token's "username": it is what the player sees in Steam.
    _setIdentity(codec.payloadDocument().object(), m_steam->personaName());
}

void SteamOAuthSession::sendEmail(QString email)
{
    QNetworkReply *reply = SteamSignIn::sendEmail(jwt(), email);
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        const ServiceReply answer(reply);
        if (answer.failed()) {
            _reportFailure(EmailFailed, answer);
            Q_EMIT sendEmailFinished(false, answer.errorString());
            return;
        }
        Q_EMIT sendEmailFinished(true, QString());
    });
}

} // namespace NimblaSDK
