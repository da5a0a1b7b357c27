#pragma once

#include "nimblacore_export.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QReadWriteLock>
#include <QString>

namespace NimblaSDK {

/*!
 * Read-only configuration of the application, loaded from one JSON file.
 *
 * A missing or malformed file leaves every value empty (and the numeric
 * settings at their defaults) after one warning naming the file and the fault.
 * The getters may be called from any thread: the local callback server reads
 * the configuration on its worker threads.
 */
class NIMBLACORE_EXPORT ConfigManager
{
public:
    //! The deadline of a request, in milliseconds, when "network.requestTimeoutMs" is missing or not positive.
    static constexpr int DefaultRequestTimeout = 30000;
    //! How long a browser sign-in waits, in milliseconds, when "authorizationTimeoutMs" is missing or not
    //! positive.
    static constexpr int DefaultAuthorizationTimeout = 60000;

    //! Replaces the configuration with the JSON object in \a filePath. False for a file that cannot be read or
    //! is not a JSON object: every value is then empty, after one warning naming the file and the fault. A
    //! launcher calls NApplication::loadConfiguration(), which also updates the URLs and the settings.
    bool load(const QString &filePath);
    //! The file of the last load(), even a failed one.
    QString filePath() const;

    //! "appAccountName": the name the player's settings, saved account and remembered session are kept under.
    QString appAccountName() const;
    //! "loginProjectId": the login project; a token of another project gives no identity.
    QString loginProjectId() const;
    //! "productName": the product whose one-time password OtpProvider looks for.
    QString productName() const;
    //! "callbackUrl": the redirect address of the OAuth2 password sign-in and of every refresh.
    QString callbackUrl() const;
    //! "authFields": the comma-separated fields the product asks of an account; with "email" in it, the Steam
    //! and Stone sign-ins ask for a missing e-mail address.
    QString authFields() const;
    //! "oauth2Enabled"; see AuthManager::isOAuth2Available.
    bool oauth2Enabled() const;
    //! "oauth2ClientId": the launcher's OAuth2 client id; 0 when missing.
    int oauth2ClientId() const;

    //! "network.requestTimeoutMs", or DefaultRequestTimeout; see NNetworkAccessManager.
    int requestTimeout() const;
    //! "network.strictTls": true unless it is an explicit false; see NNetworkAccessManager.
    bool strictTls() const;
    //! "authorizationTimeoutMs", or DefaultAuthorizationTimeout.
    int authorizationTimeout() const;
    //! Where the Steam client library is, tried before the platform's own search; empty: not configured.
    QString steamApiLibrary() const;
    //! Where the Stone launcher's library is; empty: the system's search path.
    QString stoneLauncherLibrary() const;

    //! "urls": the endpoint addresses that UrlsManager hands out.
    QJsonObject urls() const;

private:
    QJsonValue value(const QString &key) const;
    void replace(const QString &filePath, const QJsonObject &root);

    mutable QReadWriteLock m_lock;
    QString m_filePath;
    QJsonObject m_root;
};

} // namespace NimblaSDK
