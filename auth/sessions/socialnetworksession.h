#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/abstractsession.h>

#include <QString>
#include <QTimer>

#include <memory>

namespace NimblaSDK {

class BrowserSignIn;

/*!
 * Signs in through a social network in the system browser. The provider's
 * login page sends the browser back to a local listener with a finished JSON
 * Web Token.
 *
 * \code
 * auto *session = new SocialNetworkSession(this);
 * connect(session, &SocialNetworkSession::openUrlExternallyError, this, &Launcher::offerLinkForCopying);
 * connect(session, &AbstractSession::loginFinished, this, &Launcher::enter);
 * session->setNetworkLink(providerLoginUrl);
 * session->tryLogin();
 * \endcode
 *
 * The wait is bounded by the configured authorisation time-out, unless the
 * desktop refuses to open the browser: then the listener keeps waiting for a
 * sign-in that the player finishes by hand.
 */
class NIMBLAAUTH_EXPORT SocialNetworkSession : public NimblaSDK::AbstractSession
{
    Q_OBJECT

public:
    //! Creates a session without a provider; setNetworkLink() and tryLogin() sign in.
    explicit SocialNetworkSession(QObject *parent);
    //! Stops the local listeners of its attempts.
    ~SocialNetworkSession() override;

    //! The provider's login address: a "link" of AuthManager::socialProviders.
    QString networkLink() const;
    //! Starts a local listener and opens networkLink(), completed with the listener's address, in the system
    //! browser. Without a link it fails with "Social provider not chosen"; a browser that does not come back in
    //! the configured authorisation time fails with "Authorization timeout", and a callback without a usable
    //! token with "Network error".
    void tryLogin() override;

Q_SIGNALS:
    //! Announces a new networkLink().
    void networkLinkChanged(const QString &networkLink);
    //! The complete login address, announced before the browser is asked to open it.
    void loginUrlIsReady(const QString &url);
    //! The desktop would not open \a url; the player may open it by hand.
    void openUrlExternallyError(const QString &url);

public Q_SLOTS:
    //! Sets the provider's login address for the next tryLogin().
    void setNetworkLink(const QString &networkLink);

private:
    void _startLogin();
    void _onCallbackSuccess(const QString &jwt);
    void _onCallbackError();

    QTimer m_timer;
    QString m_networkLink;
    std::unique_ptr<BrowserSignIn> m_signIn;
};

} // namespace NimblaSDK
