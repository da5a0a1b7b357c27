#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/abstactoauthsession.h>

#include <QString>

#include <memory>

namespace NimblaSDK {

class SteamSignIn;

/*!
 * Signs in with the running Steam client over OAuth2: the Steam session
 * ticket goes to the login service with a fresh state, the service answers
 * with an authorisation code and that state, and the code is exchanged for
 * the JWT and a refresh token. The user name is the player's Steam name.
 *
 * As with SteamSession, an account without an e-mail, where the product
 * asks for one, ends in needSendEmail() instead of loginFinished():
 *
 * \code
 * auto *session = new SteamOAuthSession(this);
 * connect(session, &SteamOAuthSession::needSendEmail, this, &Launcher::askForEmail);
 * connect(session, &AbstractSession::loginFinished, this, &Launcher::enter);
 * session->setSteamAppId(QStringLiteral("700100"));
 * session->tryLogin();
 * \endcode
 */
class NIMBLAAUTH_EXPORT SteamOAuthSession : public NimblaSDK::AbstactOAuthSession
{
    Q_OBJECT

public:
    //! Initialises the Steam client.
    explicit SteamOAuthSession(QObject *parent);
    //! Shuts the Steam client down.
    ~SteamOAuthSession() override;

    //! Sets the game's Steam application id, which the service checks the ticket against.
    void setSteamAppId(const QString &steamAppId);
    //! Asks the Steam client for a session ticket and trades it for a code and then the tokens. Without a
    //! running client it fails with "Check steam client is running", without a ticket with "Check Steam client
    //! started", a failed request with the network error's text, an answer with another state with "Login url
    //! is compromised".
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
    //! Renews the sign-in with the refresh token, without Steam.
    void refresh() override;

protected:
    //! Takes the token as the base does, unless the account must still give an e-mail: then it emits
    //! needSendEmail() and neither records the token nor finishes.
    void _onJwtReceived(const QString &jwt) override;

private:
    void _processSessionTicket();
    void _processJWT(const QString &jwt);

    std::unique_ptr<SteamSignIn> m_steam;
    QString m_steamAppId;
};

} // namespace NimblaSDK
