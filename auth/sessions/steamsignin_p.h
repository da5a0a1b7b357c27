#pragma once

#include "failurerow_p.h"
#include "platform/steamcallback.h"

#include <QString>
#include <QTimer>

#include <array>
#include <functional>
#include <memory>

class QNetworkReply;

namespace NimblaSDK {

class SteamClient;

/*
 * The Steam side of a Steam sign-in, shared by the Steam sessions: the client
 * library's initialisation and shutdown, the ticket callback, the pump that
 * runs the library's callbacks, and the ticket itself. The session keeps what
 * differs: where it sends the ticket, its failure table and its log category.
 *
 * \code
 * // in the session's constructor:
 * m_steam = std::make_unique<SteamSignIn>(lcSteamAuth, [this] { _processSessionTicket(); },
 *                                         [this] { _reportFailure(TicketFailed); });
 * // in tryLogin():
 * if (!m_steam->isRunning()) { _reportFailure(NotRunning); return; }
 * m_steam->requestTicket();
 * \endcode
 */
class SteamSignIn
{
public:
    using Notify = std::function<void()>;
    //! Whether an OK ticket is written to the log, as a debug line of the category.
    enum TicketLog { LogTicket, KeepTicketOutOfLog };

    //! Registers the ticket callback and initialises the client, writing the outcome to \a category.
    SteamSignIn(FailureRow::Category category, Notify ticketReady, Notify ticketFailed, TicketLog ticketLog = LogTicket);
    //! Shuts the client down first; the callback then unregisters itself.
    ~SteamSignIn();

    SteamSignIn(const SteamSignIn &) = delete;
    SteamSignIn &operator=(const SteamSignIn &) = delete;

    //! Whether the client offers a user to ask for a ticket.
    bool isRunning() const;
    //! Starts the pump and asks for a ticket; ticketReady or ticketFailed follows from the pump.
    void requestTicket();
    //! The last OK ticket, as lower-case hexadecimal text.
    QString ticket() const { return m_ticket; }
    QString personaName() const;

    //! Whether an account signed in with \a login must still be given an e-mail.
    static bool needsEmail(const QString &login);
    //! Posts {"token", "updatedFields": {"email"}} to the Steam set-e-mail address.
    static QNetworkReply *sendEmail(const QString &jwt, const QString &email);

private:
    static void _onTicketReceived(void *self, const void *response);

    FailureRow::Category m_category;
    Notify m_ticketReady;
    Notify m_ticketFailed;
    TicketLog m_ticketLog;
    std::shared_ptr<SteamClient> m_client;
    // After the client: it unregisters through it.
    SteamCallback m_callback;
    QTimer m_pump;
    std::array<unsigned char, 1024> m_buffer{};
    quint32 m_length = 0;
    QString m_ticket;
    bool m_initialised = false;
};

} // namespace NimblaSDK
