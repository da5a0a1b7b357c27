#include "steamplayfabsession.h"

#include "authlogging_p.h"
#include "failurerow_p.h"
#include "napplication.h"
#include "playfabexchange_p.h"
#include "sessions/steamsignin_p.h"

#include <QNetworkReply>

namespace NimblaSDK {

namespace {

// "PlayfabSteam" and "isnt" as the error dashboards group them.
const FailureRow NotRunning = FailureRow(lcSteamPlayfabAuth)
        .log("Steam SDK isn't enabled.")
        .error("Check steam client is running")
        .report("PlayfabSteam: Steam client isnt running");
const FailureRow TicketFailed = FailureRow(lcSteamPlayfabAuth)
        .error("Check Steam client started")
        .report("PlayfabSteam: Failed get steam session ticket");
// PlayFab's own words go to the player unchanged.
const FailureRow LoginRefused = FailureRow(lcSteamPlayfabAuth)
        .logReply(FailureRow::ServiceLines, "Playfab login failed: ")
        .report("PlayfabSteam: Login failed", FailureRow::ServiceDescription)
        .errorFromService();
// The player is told before the dashboards, unlike the e-mail session.
const FailureRow CrossAuthFailed = FailureRow(lcSteamPlayfabAuth)
        .logReply(FailureRow::ErrorStringLine, "Msg: ")
        .log("Auth: Request failed!")
        .errorFromNetwork()
        .report("PlayfabSteam: Auth request failed", FailureRow::NetworkErrorString);
const FailureRow RedirectRefused = FailureRow(lcSteamPlayfabAuth)
        .log("Auth: Redirect request failed!")
        .logReply(FailureRow::DescriptionLine, "Reply: ")
        .errorFromService()
        .report("PlayfabSteam: Redirect request failed", FailureRow::ServiceDescription);
// The outcome is told by sendEmailFinished(), before the report; the words
// are swapped in this one title, and the dashboards know it so.
const FailureRow EmailFailed = FailureRow(lcSteamPlayfabAuth)
        .report("SteamPlayfab: Failed send email", FailureRow::NetworkErrorString);

SDKSettings *settings()
{
    return NApplication::instance().settingsManager();
}

} // namespace

SteamPlayfabSession::SteamPlayfabSession(QObject *parent)
    : AbstractSession(parent)
    // The Steam ticket stays out of the log: PlayFab takes it as a credential.
    , m_steam(std::make_unique<SteamSignIn>(
              lcSteamPlayfabAuth, [this] { _processSteamSessionTicket(); }, [this] { _reportFailure(TicketFailed); },
              SteamSignIn::KeepTicketOutOfLog))
{
}

SteamPlayfabSession::~SteamPlayfabSession() = default;

void SteamPlayfabSession::tryLogin()
{
    if (!m_steam->isRunning()) {
        _reportFailure(NotRunning);
        return;
    }
    qCInfo(lcSteamPlayfabAuth) << "Start auth via steam";
    m_steam->requestTicket();
}

void SteamPlayfabSession::_processSteamSessionTicket()
{
    const QString loginUrl = NApplication::instance().urlsManager()->playfabSteamLoginUrl();
    QNetworkReply *reply = PlayfabExchange::postLogin(loginUrl, {
            {QStringLiteral("SteamTicket"), m_steam->ticket()},
            // A Steam player new to PlayFab becomes a PlayFab player on the way.
            {QStringLiteral("CreateAccount"), true},
            {QStringLiteral("TitleId"), PlayfabExchange::titleId(loginUrl)},
    });
    reply->ignoreSslErrors();
    // Released even when the session is gone before the answer comes.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] { _onLoginReply(reply); });
}

void SteamPlayfabSession::_onLoginReply(QNetworkReply *reply)
{
    const PlayfabExchange::LoginReply answer(reply);
    if (answer.failed()) {
        _reportFailure(LoginRefused, answer);
        return;
    }

    qCInfo(lcSteamPlayfabAuth) << "Playfab login finished";
    m_playfabSessionTicket = answer.sessionTicket();
    m_playfabId = answer.playfabId();
    settings()->setPlayfabToken(m_playfabSessionTicket);
    if (!m_playfabId.isEmpty())
        settings()->setPlayfabId(m_playfabId);
    // An answer without "data" still goes on: the cross-auth refuses the empty ticket.
    _processPlayfabSessionTicket();
}

void SteamPlayfabSession::_processPlayfabSessionTicket()
{
    QNetworkReply *reply = PlayfabExchange::requestCrossAuth(m_playfabId, m_playfabSessionTicket);
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] { _onCrossAuthReply(reply); });
}

void SteamPlayfabSession::_onCrossAuthReply(QNetworkReply *reply)
{
    const PlayfabExchange::CrossAuthReply answer(reply);
    if (answer.failed()) {
        _reportFailure(CrossAuthFailed, answer);
        return;
    }

    qCInfo(lcSteamPlayfabAuth) << "Auth: Request finished!";
    if (answer.token().isEmpty()) {
        _reportFailure(RedirectRefused, answer);
        return;
    }

    // The Steam client is asked again at the next start: nothing is saved.
    _processJWT(answer.token());
    qCInfo(lcSteamPlayfabAuth) << "Auth: Redirect request finished";
    _finishAuth();
}

void SteamPlayfabSession::sendEmail(QString email)
{
    QNetworkReply *reply = SteamSignIn::sendEmail(jwt(), email);
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        const ServiceReply answer(reply);
        if (answer.failed()) {
            Q_EMIT sendEmailFinished(false, answer.errorString());
            _reportFailure(EmailFailed, answer);
            return;
        }
        Q_EMIT sendEmailFinished(true, QString());
    });
}

} // namespace NimblaSDK
