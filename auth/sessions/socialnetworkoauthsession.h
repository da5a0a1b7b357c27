#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/abstactoauthsession.h>

#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <memory>

class QTimer;

namespace NimblaSDK {

class BrowserSignIn;

/*!
 * Signs in through a social network in the system browser over OAuth2: the
 * login service's endpoint for the provider sends the browser back to a local
 * listener with an authorisation code and the session's state, and the code
 * is exchanged for tokens once the state matches.
 *
 * \code
 * auto *session = new SocialNetworkOAuthSession(QStringLiteral("google"), this);
 * connect(session, &AbstractSession::loginFinished, this, [this, session] { remember(session->sessionState()); });
 * session->tryLogin();
 * \endcode
 *
 * A session restored with setSessionState() renews its tokens with refresh(),
 * without the browser.
 */
class NIMBLAAUTH_EXPORT SocialNetworkOAuthSession : public NimblaSDK::AbstactOAuthSession
{
    Q_OBJECT

public:
    //! Creates a session for \a providerName, a "title" of AuthManager::socialProviders, with the state and
    //! PKCE verifier that all its attempts share.
    SocialNetworkOAuthSession(const QString &providerName, QObject *parent);
    //! Stops its local listener.
    ~SocialNetworkOAuthSession() override;

    //! The provider given to the constructor; AuthManager saves it with a remembered session.
    QString providerName() const;

    //! {"access_token", "refresh_token"}; a token not held yet is null.
    QJsonObject sessionState() const override;
    //! Restores the tokens of a sessionState(); call refresh() next.
    void setSessionState(const QJsonObject &state) override;

Q_SIGNALS:
    //! The complete authorisation address, announced before the browser is asked to open it.
    void loginUrlIsReady(const QString &url);
    //! The desktop would not open \a url; the sign-in is abandoned.
    void openUrlExternallyError(const QString &url);

public Q_SLOTS:
    //! Starts the local listener and opens the provider's authorisation address in the system browser. Without
    //! a provider it fails with "Social provider not chosen"; a browser that does not come back in the
    //! configured authorisation time fails with "Authorization timeout", a callback without a code with
    //! "Network error", and one with another state with "Login url is compromised".
    void tryLogin() override;
    //! Renews the sign-in with the stored refresh token, without the browser; a token that the service refuses
    //! fails with the service's words, and then only tryLogin() helps.
    void refresh() override;

private:
    QUrl loginEndpointUrl() const;
    void _startLogin();
    void _onCallbackSuccess(const QString &code, const QString &csrfToken);
    void _onCallbackError();

    QString m_providerName;
    QTimer *m_timer;
    std::unique_ptr<BrowserSignIn> m_signIn;
    QString m_state;
    QString m_codeVerifier;
    QString m_redirectUri;
};

} // namespace NimblaSDK
