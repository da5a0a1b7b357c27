#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/abstractsession.h>

#include <QSharedPointer>
#include <QString>

class QNetworkReply;

namespace NimblaSDK {

class NimblaLoginJwtValidator;

/*!
 * Signs in with login and password, or with a single-time access token that
 * the launcher already holds.
 *
 * A successful password sign-in remembers the account in the user's
 * credential vault under the application's account name; the next session
 * starts with it filled in, and logout() forgets it. The service may instead
 * ask for a captcha (captchaIsNeeded()) or for the privacy policy to be
 * accepted first (privatePolicyIsNeeded(), after the page is opened in the
 * browser).
 *
 * \code
 * auto *session = new NimblaLoginSession(this);
 * connect(session, &NimblaLoginSession::captchaIsNeeded, this, &LoginForm::showCaptcha);
 * connect(session, &AbstractSession::loginFinished, this, &Launcher::enter);
 * session->setLogin(email);
 * session->setPassword(password);
 * session->checkLoginType(); // picks the direct or the proxy login, then tryLogin()
 * \endcode
 *
 * The class's own loginChanged() is about the typed login; the identity's
 * login of the base is announced by AbstractSession::loginChanged().
 */
class NIMBLAAUTH_EXPORT NimblaLoginSession : public NimblaSDK::AbstractSession
{
    Q_OBJECT
    //! The login the player types, usually the e-mail address; it shadows AbstractSession's login, the
    //! signed-in identity. Filled in from the saved account.
    Q_PROPERTY(QString login READ login WRITE setLogin NOTIFY loginChanged)
    //! The password the player types; filled in from the saved account. tryLogin() without a login or a
    //! password fails with "Could not log in via the saved account."
    Q_PROPERTY(QString password READ password WRITE setPassword NOTIFY passwordChanged)
    //! Sent to the service as "remember_me" and written to the settings after a sign-in; true unless the
    //! launcher clears it. The account itself is saved after every successful sign-in.
    Q_PROPERTY(bool rememberMe READ rememberMe WRITE setRememberMe NOTIFY rememberMeChanged)
    //! A ready JWT to sign in with instead of the password, such as one a one-time password was exchanged for.
    //! With setJwtValidator() the service confirms it first; an unconfirmed token, or one without an access
    //! key, fails with an empty error() text.
    Q_PROPERTY(QString singleTimeAccessToken READ singleTimeAccessToken WRITE setSingleTimeAccessToken
                       NOTIFY singleTimeAccessTokenChanged)

public:
    //! Starts with the account saved in the credential vault, if there is one.
    explicit NimblaLoginSession(QObject *parent);

    //! \sa login
    QString login() const;
    //! \sa password
    QString password() const;
    //! \sa rememberMe
    bool rememberMe() const;
    //! \sa singleTimeAccessToken
    QString singleTimeAccessToken() const;

    //! Checks the single-time token with \a validator instead of accepting it unchecked.
    void setJwtValidator(QSharedPointer<NimblaLoginJwtValidator> validator);

    //! Signs in with singleTimeAccessToken when there is one, else with login and password at the login address
    //! that checkLoginType() chose (the proxy while it is unknown). Wrong credentials fail with "Login or
    //! password is incorrect", a refusal with the service's words, an unreachable service with the network
    //! error's text.
    void tryLogin() override;

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
    //! The password was right, but the service wants its privacy policy accepted first: the page \a url has
    //! been opened in the browser. Sign in again once the player has accepted it; no loginFinished() or error()
    //! comes with it.
    void privatePolicyIsNeeded(const QString &url);
    //! Announces \ref singleTimeAccessToken, at every set, changed or not.
    void singleTimeAccessTokenChanged();

public Q_SLOTS:
    //! \sa login
    void setLogin(const QString &login);
    //! \sa password
    void setPassword(const QString &password);
    //! \sa rememberMe
    void setRememberMe(bool rememberMe);
    //! Always announces the token, even when it is the same again.
    void setSingleTimeAccessToken(const QString &token);
    //! Forgets the saved account; the identity is left as it is.
    void logout() override;

private Q_SLOTS:
    void jwtValid();
    void jwtInvalid();

private:
    void _onLoginReply(QNetworkReply *reply);

    QString m_login;
    QString m_password;
    QString m_singleTimeAccessToken;
    bool m_rememberMe = false;
    QSharedPointer<NimblaLoginJwtValidator> m_jwtValidator;
};

} // namespace NimblaSDK
