#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/abstractsession.h>

#include <QString>

#include <memory>

namespace NimblaSDK {

class SteamSignIn;

/*!
 * Signs in with the Steam account of the running Steam client: the client
 * hands out a session ticket, which goes to the login service with the game's
 * Steam application id; the service answers with the JWT. The user name is
 * the player's Steam name.
 *
 * When the service knows no e-mail for the account and the product asks for
 * one (an "email" authorisation field), the session emits needSendEmail()
 * instead of loginFinished(); the launcher asks the player and calls
 * sendEmail().
 *
 * \code
 * auto *session = new SteamSession(this);
 * connect(session, &SteamSession::needSendEmail, this, &Launcher::askForEmail); // then session->sendEmail(address)
 * connect(session, &AbstractSession::loginFinished, this, &Launcher::enter);
 * session->setSteamAppId(QStringLiteral("700100"));
 * session->tryLogin();
 * \endcode
 *
 * Without a running Steam client (or its library) tryLogin() fails with
 * "Check steam client is running".
 */
class NIMBLAAUTH_EXPORT SteamSession : public NimblaSDK::AbstractSession
{
    Q_OBJECT

public:
    //! Initialises the Steam client.
    explicit SteamSession(QObject *parent);
    //! Shuts the Steam client down.
    ~SteamSession() override;

    //! Sets the game's Steam application id, which the service checks the ticket against.
    void setSteamAppId(const QString &steamAppId);
    //! Asks the Steam client for a session ticket and sends it to the service. Without a running client it
    //! fails with "Check steam client is running", without a ticket with "Check Steam client started", and a
    //! failed request with the network error's text.
    void tryLogin() override;

Q_SIGNALS:
    //! The account has no e-mail and the product needs one: ask the player, then call sendEmail().
    void needSendEmail();
    //! The outcome of sendEmail(); \a errorStr is the network error, empty on success. After a success, sign in
    //! again with the same method: its token then carries the address.
    void sendEmailFinished(bool success, QString errorStr);

public Q_SLOTS:
    //! Gives the account the e-mail \a email; what follows success is the caller's decision.
    void sendEmail(QString email);

private:
    void _processSessionTicket();
    void _processJWT(const QString &jwt);

    std::unique_ptr<SteamSignIn> m_steam;
    QString m_steamAppId;
};

} // namespace NimblaSDK
