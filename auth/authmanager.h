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
    Q_PROPERTY(bool rememberMe READ rememberMe WRITE setRememberMe NOTIFY rememberMeChanged)
    Q_PROPERTY(QVariantList socialProviders READ socialProviders NOTIFY socialProvidersChanged)
    Q_PROPERTY(NimblaSDK::AbstractSession *CurrentSession READ CurrentSession NOTIFY currentSessionChanged)
    Q_PROPERTY(bool isOAuth2Available READ isOAuth2Available CONSTANT)
    Q_PROPERTY(bool isAutologin READ isAutologin NOTIFY isAutologinChanged)

public:
    //! Kinds of a saved session; the record names them by key text.
    enum SessionType { Undefined = 0, OAuth2 = 1, NimblaOAuth2 = 2 };
    Q_ENUM(SessionType)

    //! Starts the download of the social provider list at once.
    explicit AuthManager(QObject *parent = nullptr);
    //! Logs the current session out, as closeCurrentSession() does.
    ~AuthManager() override;

    AbstractSession *CurrentSession() const;
    bool rememberMe() const;
    QVariantList socialProviders() const;
    bool isAutologin() const;
    //! Read from the configuration on every call.
    bool isOAuth2Available() const;

    //! Restores the remembered session; false when there is none to restore.
    Q_INVOKABLE bool tryAutoLogin();
    Q_INVOKABLE bool isSocialProvidersLoaded() const;

    void setAutologin(bool autologin);
    //! Writes the remember-me flag to the persistent settings.
    void saveRememberMeState();
    //! Logs the current session out and deletes it, without announcing it.
    void closeCurrentSession();
    //! Marks the list as loaded and announces it.
    void emitSocialProvidersChanged();
    //! Switching it off forgets the remembered session; switching it on saves the current one.
    void setRememberMe(bool rememberMe);

Q_SIGNALS:
    void socialProvidersChanged(QVariantList socialProviders);
    void error(QString msg);
    void currentSessionChanged();
    //! Kept for interfaces that bind to it; a loaded list is announced by socialProvidersChanged().
    void socialProvidersLoaded();
    void rememberMeChanged();
    void isAutologinChanged();

public Q_SLOTS:
    void loginViaNimblaLogin();
    void loginViaJwt();
    //! \a rememberMe is the session's saved account, not the manager's rememberMe.
    void loginViaNimblaLogin(QString login, QString password, bool rememberMe);
    void loginViaSocialNetwork(QString url);
    //! An empty \a sessionState signs in in the browser; otherwise the state is refreshed.
    void loginViaSocialNetworkOAuth(QString providerName, QJsonObject sessionState = QJsonObject());
    //! Signs in with the running Steam client, for the game \a steamAppId.
    void loginViaSteam(QString steamAppId);
    //! The same over OAuth2.
    void loginViaSteamOAuth(QString steamAppId);
    //! Signs in a player who came from the Mail.Ru game centre, with its user id and ticket.
    void loginViaMail(QString uid, QString ticket);
    void loginViaNimblaLoginOAuth();
    void loginViaNimblaLoginOAuth(QString login, QString password, bool rememberMe);
    void loginViaNimblaLoginOAuth(QJsonObject sessionState);
    //! Signs in a player who started the game from the Stone launcher; \a stoneAppId is the game's id there.
    void loginViaStone(QString stoneAppId);
    void loginViaPlayfab();
    //! \a rememberMe is the session's saved account, not the manager's rememberMe.
    void loginViaPlayfab(QString login, QString password, bool rememberMe);
    //! Signs in with the running Steam client, through PlayFab.
    void loginViaSteamToPlayfab();
    //! Signs in with a ready JWT (what an OTP exchange returns), checked against the service first.
    void loginWithOtp(QString otp);
    //! Exchanges the one-time password left for the launcher; false when there is none.
    bool tryLoginWithOtp();
    void downloadSocialProviders();
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
