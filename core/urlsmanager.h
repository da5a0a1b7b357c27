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
    void setUrls(const QJsonObject &urls);

    QString socialNetworksListUrl() const;
    QString widgetSettingsUrl() const;
    QString getUserAttributesUrl() const;
    QString updateUserAttributesUrl() const;
    QString loginUrl() const;
    QString proxyLoginUrl() const;
    //! Template: "%1" takes the OAuth2 state.
    QString oauthLoginUrl() const;
    QString oauthExchangeCodeUrl() const;
    //! Template: "%1" takes the social provider's name.
    QString loginAuthViaSocialNetwork() const;
    QString steamLoginUrl() const;
    QString steamOAuthLoginUrl() const;
    QString steamSetEmailUrl() const;
    QString playfabLoginUrl() const;
    QString playfabCrossAuthUrl() const;
    QString playfabSteamLoginUrl() const;
    QString mailruLoginUrl() const;
    QString stoneLoginUrl() const;
    QString stoneSetEmailUrl() const;
    QString validateJWTUrl() const;
    //! Template: "%1" takes the one-time password.
    QString exchangeOtpUrl() const;

private:
    QString url(const char *key) const;

    mutable QReadWriteLock m_lock;
    QJsonObject m_urls;
};

} // namespace NimblaSDK
