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

    void tryLogin() override;

Q_SIGNALS:
    void needSendEmail();
    void sendEmailFinished(bool success, const QString &msg);

public Q_SLOTS:
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
