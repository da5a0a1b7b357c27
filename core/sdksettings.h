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

    //! Whether the player asked to be remembered; AuthManager reads it at start and keeps it.
    bool rememberMe() const;
    //! \sa rememberMe()
    void setRememberMe(bool rememberMe);

    //! The JWT of the last sign-in, which AuthManager::loginViaJwt() signs in with again.
    QString getJWT() const;
    //! \sa getJWT()
    void setJWT(const QString &jwt);

    //! Always empty: nothing sets it any more.
    QString token() const;
    //! \sa token()
    void setToken(const QString &token);
    //! The last signed-in player's id (AbstractSession::userId).
    QString userId() const;
    //! \sa userId()
    void setUserId(const QString &userId);
    //! The last signed-in player's name (AbstractSession::userName).
    QString userName() const;
    //! \sa userName()
    void setUserName(const QString &userName);
    //! The last signed-in player's e-mail address (AbstractSession::login).
    QString login() const;
    //! \sa login()
    void setLogin(const QString &login);
    //! The last sign-in's access key (AbstractSession::accessKey).
    QString accessKey() const;
    //! \sa accessKey()
    void setAccessKey(const QString &accessKey);
    //! The last sign-in's external account id (AbstractSession::externalUserId()).
    QString externalUserId() const;
    //! \sa externalUserId()
    void setExternalUserId(const QString &externalUserId);
    //! The PlayFab player id of the last PlayFab sign-in.
    QString playfabId() const;
    //! \sa playfabId()
    void setPlayfabId(const QString &playfabId);
    //! The PlayFab session ticket of the last PlayFab sign-in.
    QString playfabToken() const;
    //! \sa playfabToken()
    void setPlayfabToken(const QString &playfabToken);
    //! The last Steam session ticket, as hexadecimal text.
    QString steamSessionticket() const;
    //! \sa steamSessionticket()
    void setSteamSessionticket(const QString &ticket);

    //! Asks for the file to be written soon, on the settings' own thread; it returns at once, and a write that
    //! fails is not reported.
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
