#include "urlsmanager.h"

#include <QReadLocker>
#include <QWriteLocker>

namespace NimblaSDK {

void UrlsManager::setUrls(const QJsonObject &urls)
{
    const QWriteLocker locker(&m_lock);
    m_urls = urls;
}

QString UrlsManager::url(const char *key) const
{
    const QReadLocker locker(&m_lock);
    return m_urls.value(QLatin1String(key)).toString();
}

QString UrlsManager::socialNetworksListUrl() const
{
    return url("socialNetworksListUrl");
}

QString UrlsManager::widgetSettingsUrl() const
{
    return url("widgetSettingsUrl");
}

QString UrlsManager::getUserAttributesUrl() const
{
    return url("getUserAttributesUrl");
}

QString UrlsManager::updateUserAttributesUrl() const
{
    return url("updateUserAttributesUrl");
}

QString UrlsManager::loginUrl() const
{
    return url("loginUrl");
}

QString UrlsManager::proxyLoginUrl() const
{
    return url("proxyLoginUrl");
}

QString UrlsManager::oauthLoginUrl() const
{
    return url("oauthLoginUrl");
}

QString UrlsManager::oauthExchangeCodeUrl() const
{
    return url("oauthExchangeCodeUrl");
}

QString UrlsManager::loginAuthViaSocialNetwork() const
{
    return url("loginAuthViaSocialNetwork");
}

QString UrlsManager::steamLoginUrl() const
{
    return url("steamLoginUrl");
}

QString UrlsManager::steamOAuthLoginUrl() const
{
    return url("steamOAuthLoginUrl");
}

QString UrlsManager::steamSetEmailUrl() const
{
    return url("steamSetEmailUrl");
}

QString UrlsManager::playfabLoginUrl() const
{
    return url("playfabLoginUrl");
}

QString UrlsManager::playfabCrossAuthUrl() const
{
    return url("playfabCrossAuthUrl");
}

QString UrlsManager::playfabSteamLoginUrl() const
{
    return url("playfabSteamLoginUrl");
}

QString UrlsManager::mailruLoginUrl() const
{
    return url("mailruLoginUrl");
}

QString UrlsManager::stoneLoginUrl() const
{
    return url("stoneLoginUrl");
}

QString UrlsManager::stoneSetEmailUrl() const
{
    return url("stoneSetEmailUrl");
}

QString UrlsManager::validateJWTUrl() const
{
    return url("validateJWTUrl");
}

QString UrlsManager::exchangeOtpUrl() const
{
    return url("exchangeOtpUrl");
}

} // namespace NimblaSDK
