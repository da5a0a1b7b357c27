#include "sessions/steamsignin_p.h"

#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "platform/steamclient.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <algorithm>

namespace NimblaSDK {

namespace {

// GetAuthSessionTicketResponse_t of the client library.
constexpr int TicketCallbackId = 163;
struct TicketResponse
{
    quint32 ticketHandle;
    qint32 result;
};
constexpr qint32 ResultOk = 1;
constexpr int PumpIntervalMs = 100;

} // namespace

SteamSignIn::SteamSignIn(FailureRow::Category category, Notify ticketReady, Notify ticketFailed, TicketLog ticketLog)
    : m_category(category)
    , m_ticketReady(std::move(ticketReady))
    , m_ticketFailed(std::move(ticketFailed))
    , m_ticketLog(ticketLog)
    , m_client(SteamClient::acquire())
    , m_callback(TicketCallbackId, int(sizeof(TicketResponse)), &SteamSignIn::_onTicketReceived, this)
{
    m_callback.registerWith(*m_client);
    // A client that does not start is found out by tryLogin(), as one that is not running.
    m_initialised = m_client->init();
    qCDebug(m_category) << "steam api inited" << m_initialised;
}

SteamSignIn::~SteamSignIn()
{
    if (m_initialised)
        m_client->shutdown();
}

bool SteamSignIn::isRunning() const
{
    return m_client->user() != nullptr;
}

QString SteamSignIn::personaName() const
{
    return m_client->personaName();
}

void SteamSignIn::requestTicket()
{
    m_pump.setInterval(PumpIntervalMs);
    m_pump.setSingleShot(false);
    // Connected again on every request, as the launcher always has: a session
    // asked twice pumps twice a tick, which the library takes in its stride.
    QObject::connect(&m_pump, &QTimer::timeout, &m_pump, [this] { m_client->runCallbacks(); }, Qt::DirectConnection);
    m_pump.start();
    // The handle is not needed: the callback's answer is not matched to it.
    m_client->authSessionTicket(m_buffer.data(), int(m_buffer.size()), &m_length);
}

void SteamSignIn::_onTicketReceived(void *self, const void *response)
{
    auto *signIn = static_cast<SteamSignIn *>(self);
    const auto *answer = static_cast<const TicketResponse *>(response);
    if (answer->result != ResultOk) {
        // The pump goes on: a later request may still bring a ticket.
        signIn->m_ticketFailed();
        return;
    }
    signIn->m_pump.stop();
    const int length = int(std::min<quint32>(signIn->m_length, quint32(signIn->m_buffer.size())));
    signIn->m_ticket = QString::fromLatin1(
            QByteArray(reinterpret_cast<const char *>(signIn->m_buffer.data()), length).toHex());
    NApplication::instance().settingsManager()->setSteamSessionticket(signIn->m_ticket);
    if (signIn->m_ticketLog == LogTicket)
        qCDebug(signIn->m_category).noquote() << signIn->m_ticket;
    signIn->m_ticketReady();
}

bool SteamSignIn::needsEmail(const QString &login)
{
    // A plain substring test: any field name containing "email" asks for one.
    return login.isEmpty() && NApplication::instance().configManager()->authFields().contains(QLatin1String("email"));
}

QNetworkReply *SteamSignIn::sendEmail(const QString &jwt, const QString &email)
{
    const QJsonObject body{
        {QStringLiteral("token"), jwt},
        {QStringLiteral("updatedFields"), QJsonObject{{QStringLiteral("email"), email}}},
    };
    QNetworkRequest request(QUrl(NApplication::instance().urlsManager()->steamSetEmailUrl()));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    return NNetworkAccessManager::getManager()->post(request, QJsonDocument(body).toJson());
}

} // namespace NimblaSDK
