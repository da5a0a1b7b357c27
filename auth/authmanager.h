#pragma once

#include "nimblaauth_export.h"

#include "abstractsession.h"
#include "storage/iotpexchanger.h"
#include "storage/nativesecurejsonobjectstorage.h"
#include "storage/otpexchanger.h"
#include "storage/otpprovider.h"

#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QUrlQuery>
#include <QVariantList>
#include <QVariantMap>

class QNetworkReply;
class QUrl;
class TestAuthManager;

namespace NimblaSDK {

/*!
 * The one object a launcher's interface creates to sign a player in. It owns
 * the current session (at most one), starts the method the player picked,
 * remembers an OAuth2 session in the credential vault while rememberMe is on,
 * restores it at the next start, downloads the social provider list and
 * signs in with a one-time password left for the launcher.
 *
 * \code
 * auto *auth = new NimblaSDK::AuthManager(this);
 * if (!auth->tryLoginWithOtp() && !auth->tryAutoLogin())
 *     showLoginForm(); // which calls e.g. auth->loginViaNimblaLoginOAuth(login, password, true)
 * connect(auth, &NimblaSDK::AuthManager::currentSessionChanged, this, [auth] {
 *     if (NimblaSDK::AbstractSession *session = auth->CurrentSession())
 *         connect(session, &NimblaSDK::AbstractSession::error, ...); // the manager does not repeat it
 * });
 * \endcode
 *
 * The manager's own error() is only about the provider list and about OAuth2
 * credentials arriving while OAuth2 is switched off.
 */
class NIMBLAAUTH_EXPORT AuthManager : public QObject
{
    Q_OBJECT
    //! Whether the player's OAuth2 sign-in is kept in the credential vault for the next start, where
    //! tryAutoLogin() restores it. Bind the form's "remember me" box to it. Only loginViaNimblaLoginOAuth() and
    //! loginViaSocialNetworkOAuth() are remembered, by their refresh token; a vault that refuses the record
    //! only logs a warning, and the next start then finds nothing to restore.
    Q_PROPERTY(bool rememberMe READ rememberMe WRITE setRememberMe NOTIFY rememberMeChanged)
    //! The social networks to offer, as {"title", "link"} maps in the service's order (primary, secondary,
    //! other): pass a "title" to loginViaSocialNetworkOAuth() or a "link" to loginViaSocialNetwork(). Empty
    //! until the download that the constructor starts has answered; a failed download leaves it as it was and
    //! emits error().
    Q_PROPERTY(QVariantList socialProviders READ socialProviders NOTIFY socialProvidersChanged)
    //! The session of the method started last, or null before the first and after logout(). Listen to its
    //! loginFinished() and error(), which the manager does not repeat, and cast it to its class for what only
    //! that method asks (captchaIsNeeded(), needSendEmail()). It is deleted when the next method starts: do not
    //! keep it past currentSessionChanged().
    Q_PROPERTY(NimblaSDK::AbstractSession *CurrentSession READ CurrentSession NOTIFY currentSessionChanged)
    //! Whether the configuration offers OAuth2: "oauth2Enabled" with a positive "oauth2ClientId". Start the
    //! OAuth2 methods when it is true. Constant for QML bindings: load the configuration before the interface.
    Q_PROPERTY(bool isOAuth2Available READ isOAuth2Available CONSTANT)
    //! Whether the current sign-in started without the player, from tryAutoLogin() or tryLoginWithOtp(). It
    //! turns false when that sign-in fails, when a one-time password cannot be exchanged and at logout(): show
    //! the sign-in form then.
    Q_PROPERTY(bool isAutologin READ isAutologin NOTIFY isAutologinChanged)

public:
    //! Kinds of a saved session; the record names them by key text.
    enum SessionType { Undefined = 0, OAuth2 = 1, NimblaOAuth2 = 2 };
    Q_ENUM(SessionType)

    //! Starts the download of the social provider list at once, and reads the remembered flag from the player's
    //! settings: load the configuration first.
    explicit AuthManager(QObject *parent = nullptr);
    //! Logs the current session out, as closeCurrentSession() does.
    ~AuthManager() override;

    //! \sa CurrentSession
    AbstractSession *CurrentSession() const;
    //! \sa rememberMe
    bool rememberMe() const;
    //! \sa socialProviders
    QVariantList socialProviders() const;
    //! \sa isAutologin
    bool isAutologin() const;
    //! Read from the configuration on every call. \sa isOAuth2Available
    bool isOAuth2Available() const;

    //! Restores the remembered session; false when there is none to restore, or when its record is of an
    //! unknown kind (with a warning). True means that a sign-in started as CurrentSession, with isAutologin
    //! set. A session that the service refuses is forgotten; one that failed without reaching the service is
    //! kept for the next start.
    Q_INVOKABLE bool tryAutoLogin();
    //! Whether the service has answered with a provider list; until then socialProviders is empty.
    Q_INVOKABLE bool isSocialProvidersLoaded() const;

    //! Sets \ref isAutologin, announced on a change; the manager sets it itself around the sign-ins it starts
    //! without the player.
    void setAutologin(bool autologin);
    //! Writes the remember-me flag to the persistent settings.
    void saveRememberMeState();
    //! Logs the current session out and deletes it, without announcing it: re-read CurrentSession.
    void closeCurrentSession();
    //! Marks the list as loaded and announces it.
    void emitSocialProvidersChanged();
    //! Switching it off forgets the remembered session at once; switching it on saves the current session when
    //! it is one that can be remembered. Announced only on a change.
    void setRememberMe(bool rememberMe);

Q_SIGNALS:
    //! A provider list arrived, \a socialProviders: rebuild the provider buttons. An answer without providers
    //! gives an empty list, and leaves isSocialProvidersLoaded() false.
    void socialProvidersChanged(QVariantList socialProviders);
    //! The provider list could not be downloaded (\a msg is "Failed download social providers"): the buttons
    //! stay as they were, and downloadSocialProviders() tries again. Also emitted with an empty \a msg when a
    //! one-time password brought OAuth2 tokens while the configuration switches OAuth2 off; that sign-in goes
    //! on. The sessions' failures are not repeated here.
    void error(QString msg);
    //! A method started, and CurrentSession is its session: connect to its signals here. Not emitted by
    //! logout() or closeCurrentSession().
    void currentSessionChanged();
    //! Never emitted; kept for interfaces that bind to it. A loaded list is announced by
    //! socialProvidersChanged().
    void socialProvidersLoaded();
    //! Announces a new \ref rememberMe.
    void rememberMeChanged();
    //! Announces a new \ref isAutologin; when it turns false without a session's error(), a one-time password
    //! could not be exchanged: show the sign-in form.
    void isAutologinChanged();

public Q_SLOTS:
    //! Signs in with login and password from the account that an earlier password or PlayFab sign-in saved in
    //! the credential vault. Without one the session fails with "Could not log in via the saved account."
    void loginViaNimblaLogin();
    //! Signs in again with the JWT that the player's settings kept from the last sign-in, once the service
    //! confirms it; a token it refuses fails with "Token is invalid".
    void loginViaJwt();
    //! Signs in with \a login and \a password directly, not over OAuth2, first asking the service whether the
    //! project logs in directly or through its proxy. Wrong credentials fail with "Login or password is
    //! incorrect", and the service may ask for a captcha first (NimblaLoginSession::captchaIsNeeded()).
    //! \a rememberMe goes to the service and the settings; it is not the manager's \ref rememberMe, and a
    //! password sign-in is never restored by tryAutoLogin().
    void loginViaNimblaLogin(QString login, QString password, bool rememberMe);
    //! Signs in at a social network in the system browser: \a url is a "link" of socialProviders. An empty one
    //! fails with "Social provider not chosen", a browser that does not come back in the configured
    //! authorisation time with "Authorization timeout".
    void loginViaSocialNetwork(QString url);
    //! Signs in at the social network \a providerName, a "title" of socialProviders, over OAuth2. An empty
    //! \a sessionState signs in in the browser, failing as loginViaSocialNetwork() does; otherwise the state is
    //! refreshed without the browser.
    void loginViaSocialNetworkOAuth(QString providerName, QJsonObject sessionState = QJsonObject());
    //! Signs in with the running Steam client, for the game \a steamAppId. Without a client it fails with
    //! "Check steam client is running"; an account that must still give an e-mail ends in
    //! SteamSession::needSendEmail() instead of loginFinished().
    void loginViaSteam(QString steamAppId);
    //! The same over OAuth2 (SteamOAuthSession), which is not remembered.
    void loginViaSteamOAuth(QString steamAppId);
    //! Signs in a player who came from the Mail.Ru game centre, with its user id and ticket; a failed request
    //! gives the network error's text.
    void loginViaMail(QString uid, QString ticket);
    //! As loginViaNimblaLogin() with the saved account, over OAuth2.
    void loginViaNimblaLoginOAuth();
    //! Signs in with \a login and \a password over OAuth2, failing as loginViaNimblaLogin() does; the sign-in
    //! is remembered while \ref rememberMe is on. \a rememberMe is the session's own flag, as for
    //! loginViaNimblaLogin().
    void loginViaNimblaLoginOAuth(QString login, QString password, bool rememberMe);
    //! Renews a saved OAuth2 password sign-in from \a sessionState (a NimblaLoginOAuthSession::sessionState())
    //! without the password; a refresh token that the service refuses fails with the service's words.
    void loginViaNimblaLoginOAuth(QJsonObject sessionState);
    //! Signs in a player who started the game from the Stone launcher; \a stoneAppId is the game's id there.
    //! Without the launcher's library or a running launcher it fails after three seconds with "Stone launcher
    //! is not executed".
    void loginViaStone(QString stoneAppId);
    //! Signs in at PlayFab with the account saved in the credential vault; without one it fails with "Could not
    //! log in via the saved account."
    void loginViaPlayfab();
    //! Signs in at PlayFab with the e-mail \a login and \a password; PlayFab's own message is the error text.
    //! \a rememberMe is the session's saved account, not the manager's rememberMe.
    void loginViaPlayfab(QString login, QString password, bool rememberMe);
    //! Signs in with the running Steam client, through PlayFab; without a client it fails with "Check steam
    //! client is running".
    void loginViaSteamToPlayfab();
    //! Signs in with a ready JWT (what an OTP exchange returns), checked against the service first. A token
    //! that the service refuses fails with an empty error() text.
    void loginWithOtp(QString otp);
    //! Exchanges the one-time password left for the launcher; false when there is none. True means that the
    //! exchange runs with isAutologin set: the sign-in it leads to becomes CurrentSession, and a failed
    //! exchange only clears isAutologin. The password is removed either way.
    bool tryLoginWithOtp();
    //! Downloads the provider list again (the constructor does it once); the outcome is
    //! socialProvidersChanged() or error().
    void downloadSocialProviders();
    //! Logs the current session out and deletes it; when the player was remembered, forgets the remembered
    //! session and clears \ref rememberMe. CurrentSession becomes null without currentSessionChanged(): re-read
    //! it.
    void logout();

private Q_SLOTS:
    void sessionLoginFinished();
    void sessionRefreshed(QVariantMap sessionParameters);
    void sessionError(QString errorMsg);
    void otpExchanged(NimblaSDK::IOtpExchanger::CredentialType credentialType, QJsonObject credentialValue);
    void otpExchangeError();

private:
    friend class ::TestAuthManager;

    void _setCurrentSession(AbstractSession *session);
    void saveSessionState(const QJsonObject &sessionState);
    void saveCurrentSessionState();
    void removeSavedSessionState();
    QUrlQuery _getQueryForOAuthSocialProviders(const QUrl &url) const;
    void _onSocialProvidersReply(QNetworkReply *reply, const QUrl &url);
    static QString sessionTypeToString(SessionType type);
    //! Exact and case-sensitive; any other text is Undefined.
    static SessionType stringToSessionType(const QString &text);

    AbstractSession *m_currentSession = nullptr;
    NativeSecureJsonObjectStorage m_storage;
    OtpProvider m_otpProvider;
    OtpExchanger m_otpExchanger;
    QVariantList m_socialProviders;
    bool m_socialProvidersLoaded = false;
    bool m_isAutologin = false;
    bool m_rememberMe = false;
};

} // namespace NimblaSDK
