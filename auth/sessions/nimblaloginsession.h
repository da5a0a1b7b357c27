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
    Q_PROPERTY(QString login READ login WRITE setLogin NOTIFY loginChanged)
    Q_PROPERTY(QString password READ password WRITE setPassword NOTIFY passwordChanged)
    Q_PROPERTY(bool rememberMe READ rememberMe WRITE setRememberMe NOTIFY rememberMeChanged)
    Q_PROPERTY(QString singleTimeAccessToken READ singleTimeAccessToken WRITE setSingleTimeAccessToken
                       NOTIFY singleTimeAccessTokenChanged)

public:
    //! Starts with the account saved in the credential vault, if there is one.
    explicit NimblaLoginSession(QObject *parent);

    QString login() const;
    QString password() const;
    bool rememberMe() const;
    QString singleTimeAccessToken() const;

    //! Checks the single-time token with \a validator instead of accepting it unchecked.
    void setJwtValidator(QSharedPointer<NimblaLoginJwtValidator> validator);

    void tryLogin() override;

Q_SIGNALS:
    void loginChanged(const QString &login);
    void passwordChanged(const QString &password);
    void rememberMeChanged(bool rememberMe);
    void captchaIsNeeded();
    void privatePolicyIsNeeded(const QString &url);
    void singleTimeAccessTokenChanged();

public Q_SLOTS:
    void setLogin(const QString &login);
    void setPassword(const QString &password);
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
