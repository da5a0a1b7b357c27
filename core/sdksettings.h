#pragma once

#include "nimblacore_export.h"

#include <QString>

#include <memory>

class QSettings;

namespace NimblaSDK {

/*!
 * Persistent per-user settings of the signed-in player.
 *
 * Kept with QSettings in the native format of the user's configuration
 * folder, organisation "NIMBLA", application = the application account name.
 * Setters store in memory at once; settingsSync() writes to disk.
 */
class NIMBLACORE_EXPORT SDKSettings
{
public:
    SDKSettings();
    ~SDKSettings();

    //! Reopens the store for another application account; used when the configuration changes.
    void open(const QString &appAccountName);

    bool rememberMe() const;
    void setRememberMe(bool rememberMe);

    QString getJWT() const;
    void setJWT(const QString &jwt);

    QString token() const;
    void setToken(const QString &token);
    QString userId() const;
    void setUserId(const QString &userId);
    QString userName() const;
    void setUserName(const QString &userName);
    QString login() const;
    void setLogin(const QString &login);
    QString accessKey() const;
    void setAccessKey(const QString &accessKey);
    QString externalUserId() const;
    void setExternalUserId(const QString &externalUserId);
    QString playfabId() const;
    void setPlayfabId(const QString &playfabId);
    QString playfabToken() const;
    void setPlayfabToken(const QString &playfabToken);
    QString steamSessionticket() const;
    void setSteamSessionticket(const QString &ticket);

    void settingsSync();

private:
    QString string(const char *key) const;
    void setString(const char *key, const QString &value);

    std::unique_ptr<QSettings> m_settings;
};

} // namespace NimblaSDK
