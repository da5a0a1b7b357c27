#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/abstractsession.h>

#include <QString>

class QNetworkReply;

namespace NimblaSDK {

/*!
 * Signs in at PlayFab with e-mail and password, then trades the PlayFab
 * session ticket for the launcher's own JWT.
 *
 * The PlayFab title is the first label of the configured login URL's host.
 * The account is kept in the credential vault under the application's
 * account name, the same record the login-and-password session uses, so a
 * player who signed in one way finds the form filled in the other. It is
 * saved after every successful sign-in; rememberMe only tells the settings
 * whether the next start signs in without asking.
 *
 * \code
 * auto *session = new PlayfabLoginSession(this); // filled in from the vault
 * connect(session, &AbstractSession::loginFinished, this, &Launcher::enter);
 * connect(session, &AbstractSession::error, this, &LoginForm::showError);
 * session->setLogin(email);
 * session->setPassword(password);
 * session->tryLogin();
 * \endcode
 *
 * The class's own loginChanged() is about the typed e-mail; the identity's
 * login of the base is announced by AbstractSession::loginChanged().
 */
class NIMBLAAUTH_EXPORT PlayfabLoginSession : public NimblaSDK::AbstractSession
{
    Q_OBJECT
    //! The player's e-mail address at PlayFab; it shadows AbstractSession's login, the signed-in identity.
    //! Filled in from the saved account.
    Q_PROPERTY(QString login READ login WRITE setLogin NOTIFY loginChanged)
    //! The player's PlayFab password; filled in from the saved account. tryLogin() without an e-mail or a
    //! password fails with "Could not log in via the saved account."
    Q_PROPERTY(QString password READ password WRITE setPassword NOTIFY passwordChanged)
    //! Written to the settings after a sign-in, for the next start to decide whether to sign in without asking;
    //! true unless the launcher clears it.
    Q_PROPERTY(bool rememberMe READ rememberMe WRITE setRememberMe NOTIFY rememberMeChanged)

public:
    //! Starts with the account saved in the credential vault, if there is one.
    explicit PlayfabLoginSession(QObject *parent);

    //! \sa login
    QString login() const;
    //! \sa password
    QString password() const;
    //! \sa rememberMe
    bool rememberMe() const;

    //! Signs in at PlayFab, then trades its ticket for the launcher's JWT. PlayFab's refusal fails with
    //! PlayFab's own message (or the network error's text when it gave none), a failed trade with the network
    //! error's text or the service's reason.
    void tryLogin() override;

Q_SIGNALS:
    //! Announces a new typed \ref login.
    void loginChanged(const QString &login);
    //! Announces a new \ref password.
    void passwordChanged(const QString &password);
    //! Announces a new \ref rememberMe.
    void rememberMeChanged(bool rememberMe);

public Q_SLOTS:
    //! \sa login
    void setLogin(const QString &login);
    //! \sa password
    void setPassword(const QString &password);
    //! \sa rememberMe
    void setRememberMe(bool rememberMe);

private:
    void _onLoginReply(QNetworkReply *reply);
    void _processSessionTicket();
    void _onCrossAuthReply(QNetworkReply *reply);

    QString m_login;
    QString m_password;
    bool m_rememberMe = false;
    QString m_sessionTicket;
    QString m_playfabId;
};

} // namespace NimblaSDK
