#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/abstractsession.h>

#include <QString>

#include <memory>

class QNetworkReply;

namespace NimblaSDK {

class SteamSignIn;

/*!
 * Signs in with the Steam account of the running Steam client, through
 * PlayFab: the client's session ticket goes to PlayFab's Steam login, which
 * creates the PlayFab player when there is none yet, and PlayFab's session
 * ticket is then traded for the launcher's own JWT.
 *
 * Nothing is saved: the next start asks the Steam client again.
 *
 * \code
 * auto *session = new SteamPlayfabSession(this);
 * connect(session, &AbstractSession::loginFinished, this, &Launcher::enter);
 * connect(session, &AbstractSession::error, this, &Launcher::showError);
 * session->tryLogin();
 * \endcode
 *
 * Without a running Steam client (or its library) tryLogin() fails with
 * "Check steam client is running".
 */
class NIMBLAAUTH_EXPORT SteamPlayfabSession : public NimblaSDK::AbstractSession
{
    Q_OBJECT

public:
    //! Initialises the Steam client.
    explicit SteamPlayfabSession(QObject *parent);
    //! Shuts the Steam client down.
    ~SteamPlayfabSession() override;

    //! Asks the Steam client for a ticket, signs in at PlayFab with it and trades PlayFab's ticket for the
    //! launcher's JWT. Without a client it fails with "Check steam client is running", without a ticket with
    //! "Check Steam client started"; PlayFab's refusal gives PlayFab's message, a failed trade the network
    //! error's text or the service's reason.
    void tryLogin() override;

Q_SIGNALS:
    //! Never emitted: a sign-in through PlayFab always finishes. Kept so that
    //! an interface can treat every Steam session alike.
    void needSendEmail();
    //! The outcome of sendEmail(); \a errorStr is the network error, empty on success.
    void sendEmailFinished(bool success, QString errorStr);

public Q_SLOTS:
    //! Gives the signed-in account the e-mail \a email.
    void sendEmail(QString email);

private:
    void _processSteamSessionTicket();
    void _onLoginReply(QNetworkReply *reply);
    void _processPlayfabSessionTicket();
    void _onCrossAuthReply(QNetworkReply *reply);

    std::unique_ptr<SteamSignIn> m_steam;
    QString m_playfabSessionTicket;
    QString m_playfabId;
};

} // namespace NimblaSDK
