#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/abstactoauthsession.h>

#include <QString>

class QNetworkReply;

namespace NimblaSDK {

/*!
 * Signs in with login and password through the OAuth2 code flow: the service
 * answers the password with a redirect that carries an authorisation code and
 * the state this session sent; the code is then exchanged for the JWT and a
 * refresh token.
 *
 * The account is remembered in the credential vault as for the plain
 * password sign-in. sessionState() holds the access and refresh tokens, so a
 * later run can renew the sign-in with refresh() and no password:
 *
 * \code
 * auto *session = new NimblaLoginOAuthSession(this);
 * session->setSessionState(savedState);
 * session->refresh(); // ends in loginFinished() or error()
 * \endcode
 */
class NIMBLAAUTH_EXPORT NimblaLoginOAuthSession : public NimblaSDK::AbstactOAuthSession
{
    Q_OBJECT
    //! The login the player types, usually the e-mail address; it shadows AbstractSession's login, the
    //! signed-in identity. Filled in from the saved account.
    Q_PROPERTY(QString login READ login WRITE setLogin NOTIFY loginChanged)
    //! The password the player types; filled in from the saved account. tryLogin() without a login or a
    //! password fails with "Could not log in via the saved account."
    Q_PROPERTY(QString password READ password WRITE setPassword NOTIFY passwordChanged)
    //! Written to the settings when the service accepts the password; true unless the launcher clears it.
    //! Whether the tokens are remembered is AuthManager::rememberMe's decision.
    Q_PROPERTY(bool rememberMe READ rememberMe WRITE setRememberMe NOTIFY rememberMeChanged)

public:
    //! Starts with the account saved in the credential vault, if there is one.
    explicit NimblaLoginOAuthSession(QObject *parent);

    //! \sa login
    QString login() const;
    //! \sa password
    QString password() const;
    //! \sa rememberMe
    bool rememberMe() const;

    //! Sends login and password with a fresh state and PKCE challenge, and exchanges the code that comes back.
    //! Wrong credentials fail with "Login or password is incorrect", a refusal with the service's words, an
    //! unreachable service with the network error's text, an answer with another state with "Login url is
    //! compromised".
    void tryLogin() override;

    //! {"access_token", "refresh_token"}, null where the session holds none.
    QJsonObject sessionState() const override;
    //! Restores the tokens of a sessionState(); call refresh() next.
    void setSessionState(const QJsonObject &state) override;

Q_SIGNALS:
    //! Announces a new typed \ref login.
    void loginChanged(const QString &login);
    //! Announces a new \ref password.
    void passwordChanged(const QString &password);
    //! Announces a new \ref rememberMe.
    void rememberMeChanged(bool rememberMe);
    //! The service wants a captcha before it checks the password: show it, and let the player sign in again. No
    //! error() comes with it.
    void captchaIsNeeded();
    //! Part of the interface shared with the plain password session; this flow never asks.
    void privatePolicyIsNeeded(const QString &url);

public Q_SLOTS:
    //! \sa login
    void setLogin(const QString &login);
    //! \sa password
    void setPassword(const QString &password);
    //! \sa rememberMe
    void setRememberMe(bool rememberMe);
    //! Renews the sign-in with the stored refresh token, without the password; a token that the service refuses
    //! fails with the service's words, and then only a sign-in with the password helps.
    void refresh() override;
    //! Forgets the saved account; the tokens and the identity are left as they are.
    void logout() override;

private:
    void _onLoginReply(QNetworkReply *reply, const QString &state, const QString &codeVerifier);

    QString m_login;
    QString m_password;
    bool m_rememberMe = false;
};

} // namespace NimblaSDK
