#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/abstractsession.h>

#include <QString>

#include <memory>

class ISnailLaunch;
class QNetworkReply;
class TestStoneSession;

namespace NimblaSDK {

class StoneLauncherLibrary;

/*!
 * Signs in a player who started the game from the Stone launcher. The
 * launcher's library, loaded at run time, gives the signed-in player's
 * service ticket; the login service turns it into a JWT.
 *
 * The library comes from the path in the configuration's
 * "stoneLauncherLibrary", else from the system's search path. Without it, or
 * without a running launcher, the sign-in fails after three seconds.
 *
 * \code
 * auto *session = new StoneSession(this, stoneGameId);
 * connect(session, &StoneSession::needSendEmail, this, &Launcher::askForEmail); // then session->sendEmail(email)
 * connect(session, &AbstractSession::loginFinished, this, &Launcher::enter);
 * connect(session, &AbstractSession::error, this, &Launcher::showError);
 * session->tryLogin();
 * \endcode
 *
 * needSendEmail() ends a sign-in whose account has no e-mail address while
 * the product asks for one. sendEmail() stores the address; signing in again
 * then gives a token that carries it.
 */
class NIMBLAAUTH_EXPORT StoneSession : public NimblaSDK::AbstractSession
{
    Q_OBJECT

public:
    //! \a gameId is the game's id at the Stone launcher, in decimal; anything else counts as 0.
    StoneSession(QObject *parent, const QString &gameId);
    //! Shuts the launcher's library down, when there is one.
    ~StoneSession() override;

    //! Asks the Stone launcher's library for the player's service ticket and trades it for the JWT. Without the
    //! library or a running launcher it fails after three seconds with "Stone launcher is not executed"; a
    //! failed request, or an answer without a token of this login project, with "Login failed. Can't get login
    //! information."
    void tryLogin() override;

Q_SIGNALS:
    //! The account has no e-mail and the product needs one ("email" in the configuration's authFields): ask the
    //! player, then call sendEmail(). No loginFinished() comes with it.
    void needSendEmail();
    //! The outcome of sendEmail(); \a msg is the network error, empty on success. After a success, sign in
    //! again: the new token carries the address.
    void sendEmailFinished(bool success, const QString &msg);

public Q_SLOTS:
    //! Gives the signed-in account the e-mail address \a email at the service; sendEmailFinished() answers.
    void sendEmail(const QString &email);

private:
    friend class ::TestStoneSession;

    bool _initStoneLauncher();
    void _sendLoginRequest();
    void _onLoginReply(QNetworkReply *reply);

    qint32 m_stoneUserId = 0;
    QString m_serviceTicket;
    QString m_stoneAccount;
    qint64 m_gameId = 0;
    std::unique_ptr<StoneLauncherLibrary> m_library;
    ISnailLaunch *m_launcher = nullptr;
};

} // namespace NimblaSDK
