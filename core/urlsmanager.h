#pragma once

#include "nimblacore_export.h"

#include <QJsonObject>
#include <QReadWriteLock>
#include <QString>

namespace NimblaSDK {

/*!
 * Endpoint addresses of the login and API services. Each getter returns an
 * absolute URL, or a template with one "%1" where its documentation says so;
 * an address missing from the configuration is an empty string. The getters
 * may be called from any thread.
 */
class NIMBLACORE_EXPORT UrlsManager
{
public:
    //! Replaces every address with those of \a urls, the configuration's "urls";
    //! NApplication::loadConfiguration() calls it.
    void setUrls(const QJsonObject &urls);

    //! Where AuthManager downloads the social provider list.
    QString socialNetworksListUrl() const;
    //! The project's widget settings, which say whether the project logs in directly or through the proxy.
    QString widgetSettingsUrl() const;
    //! Where UserAttributes::get() reads; also the endpoint that confirms a one-time password's JWT.
    QString getUserAttributesUrl() const;
    //! Where UserAttributes::update() writes.
    QString updateUserAttributesUrl() const;
    //! The direct password login.
    QString loginUrl() const;
    //! The password login through the project's proxy.
    QString proxyLoginUrl() const;
    //! Template: "%1" takes the OAuth2 state.
    QString oauthLoginUrl() const;
    //! The OAuth2 token endpoint, which trades a code or a refresh token for tokens.
    QString oauthExchangeCodeUrl() const;
    //! Template: "%1" takes the social provider's name.
    QString loginAuthViaSocialNetwork() const;
    //! Template: "%1" takes the game's Steam application id, "%2" the session ticket.
    QString steamLoginUrl() const;
    //! Template: "%1" takes the OAuth2 state, "%2" the Steam application id, "%3" the session ticket.
    QString steamOAuthLoginUrl() const;
    //! Where the Steam sessions' sendEmail() posts the address.
    QString steamSetEmailUrl() const;
    //! PlayFab's e-mail login; the first label of its host is the PlayFab title.
    QString playfabLoginUrl() const;
    //! Template: "%1" takes the PlayFab id, "%2" the PlayFab session ticket, traded for the launcher's JWT.
    QString playfabCrossAuthUrl() const;
    //! PlayFab's Steam login.
    QString playfabSteamLoginUrl() const;
    //! Template: "%1" takes the game centre's user id, "%2" its ticket.
    QString mailruLoginUrl() const;
    //! Template: "%1" takes the Stone service ticket, "%2" the game id, "%3" the Stone user id.
    QString stoneLoginUrl() const;
    //! Where StoneSession::sendEmail() posts the address.
    QString stoneSetEmailUrl() const;
    //! Where a ready JWT is confirmed before JwtLoginSession signs in with it.
    QString validateJWTUrl() const;
    //! Template: "%1" takes the one-time password.
    QString exchangeOtpUrl() const;

private:
    QString url(const char *key) const;

    mutable QReadWriteLock m_lock;
    QJsonObject m_urls;
};

} // namespace NimblaSDK
