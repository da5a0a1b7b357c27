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
    Q_PROPERTY(QString login READ login WRITE setLogin NOTIFY loginChanged)
    Q_PROPERTY(QString password READ password WRITE setPassword NOTIFY passwordChanged)
    Q_PROPERTY(bool rememberMe READ rememberMe WRITE setRememberMe NOTIFY rememberMeChanged)

public:
    //! Starts with the account saved in the credential vault, if there is one.
    explicit NimblaLoginOAuthSession(QObject *parent);

    QString login() const;
    QString password() const;
    bool rememberMe() const;

    void tryLogin() override;

    //! {"access_token", "refresh_token"}, null where the session holds none.
    QJsonObject sessionState() const override;
    void setSessionState(const QJsonObject &state) override;

Q_SIGNALS:
    void loginChanged(const QString &login);
    void passwordChanged(const QString &password);
    void rememberMeChanged(bool rememberMe);
    void captchaIsNeeded();
    //! Part of the interface shared with the plain password session; this flow never asks.
    void privatePolicyIsNeeded(const QString &url);

public Q_SLOTS:
    void setLogin(const QString &login);
    void setPassword(const QString &password);
    void setRememberMe(bool rememberMe);
    //! Renews the sign-in with the stored refresh token.
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
