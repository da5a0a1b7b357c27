#pragma once

#include "nimblacore_export.h"

#include <QHash>
#include <QString>
#include <QVariantMap>

#include <memory>

namespace NimblaSDK {

/*!
 * Persistent per-user settings of the signed-in player.
 *
 * Kept with QSettings in the native format of the user's configuration
 * folder, organisation "NIMBLA", application = the application account name,
 * without falling back to the organisation's own settings. Setters store in
 * memory at once; the file is written on a background thread, soon after a
 * change, on settingsSync(), when open() switches accounts and at the latest
 * when the object is destroyed.
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
    class Writer;

    QVariant value(const char *key) const;
    void setValue(const char *key, const QVariant &value);

    QString m_account;
    // The values of every account opened so far, the current one included: what the getters answer.
    QHash<QString, QVariantMap> m_accounts;
    std::unique_ptr<Writer> m_writer;
};

} // namespace NimblaSDK
