#include "steamsession.h"

#include "authlogging_p.h"
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
const FailureRow NotRunning = FailureRow(lcSteamAuth)
        .log("Steam SDK isn't enabled.")
        .error("Check steam client is running")
        .report("Steam: steam client isnt running");
const FailureRow TicketFailed = FailureRow(lcSteamAuth)
        .error("Check Steam client started")
        .report("Steam: Failed get steam session ticket");
const FailureRow LoginFailed = FailureRow(lcSteamAuth)
        .errorFromNetwork()
        .report("Steam: Failed auth", FailureRow::NetworkErrorString);
// The outcome is told by sendEmailFinished(), not error().
const FailureRow EmailFailed = FailureRow(lcSteamAuth)
        .report("Steam: Failed send email", FailureRow::NetworkErrorString);

} // namespace

SteamSession::SteamSession(QObject *parent)
    : AbstractSession(parent)
    , m_steam(std::make_unique<SteamSignIn>(
              lcSteamAuth, [this] { _processSessionTicket(); }, [this] { _reportFailure(TicketFailed); }))
{
}

SteamSession::~SteamSession() = default;

void SteamSession::setSteamAppId(const QString &steamAppId)
{
    m_steamAppId = steamAppId;
}

void SteamSession::tryLogin()
{
    if (!m_steam->isRunning()) {
        _reportFailure(NotRunning);
        return;
    }
    qCInfo(lcSteamAuth) << "Start auth via steam";
    m_steam->requestTicket();
}

void SteamSession::_processSessionTicket()
{
    const QString address = NApplication::instance().urlsManager()->steamLoginUrl().arg(m_steamAppId, m_steam->ticket());
    qDebug().noquote() << address;

    QNetworkRequest request(QUrl(address, QUrl::TolerantMode));
    // The service answers with a redirect whose address carries the token.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *reply = NNetworkAccessManager::getManager()->get(request);
    // Released even when the session is gone before the answer comes.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        const ServiceReply answer(reply);
        if (answer.failed()) {
            _reportFailure(LoginFailed, answer);
            return;
        }
        // A redirect without a token gives an empty one, and no error of its own.
        const QUrl location(QString::fromUtf8(reply->rawHeader("Location")));
        _processJWT(QUrlQuery(location).queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded));
        if (SteamSignIn::needsEmail(login()))
            Q_EMIT needSendEmail();
        else
            _finishAuth();
    });
}

void SteamSession::_processJWT(const QString &jwt)
{
    _setJwt(jwt);
    JwtCodec codec;
    codec.decode(jwt);
    // The Steam name, not the token's "username": it is what the player sees in Steam.
    _setIdentity(codec.payloadDocument().object(), m_steam->personaName());
    Q_EMIT refreshed({{QStringLiteral("access_token"), jwt}});
}

void SteamSession::sendEmail(QString email)
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
