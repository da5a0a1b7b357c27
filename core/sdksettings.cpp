#include "sdksettings.h"

#include <QSettings>

namespace NimblaSDK {

namespace {
const char RememberMeKey[] = "rememberMe";
}

SDKSettings::SDKSettings() = default;
SDKSettings::~SDKSettings() = default;

void SDKSettings::open(const QString &appAccountName)
{
    if (m_settings)
        m_settings->sync();
    m_settings = std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                             QStringLiteral("NIMBLA"), appAccountName);
}

bool SDKSettings::rememberMe() const
{
    return m_settings->value(QLatin1String(RememberMeKey), false).toBool();
}

void SDKSettings::setRememberMe(bool rememberMe)
{
    m_settings->setValue(QLatin1String(RememberMeKey), rememberMe);
}

QString SDKSettings::getJWT() const { return string("jwt"); }
void SDKSettings::setJWT(const QString &jwt) { setString("jwt", jwt); }
QString SDKSettings::token() const { return string("token"); }
void SDKSettings::setToken(const QString &token) { setString("token", token); }
QString SDKSettings::userId() const { return string("userId"); }
void SDKSettings::setUserId(const QString &userId) { setString("userId", userId); }
QString SDKSettings::userName() const { return string("userName"); }
void SDKSettings::setUserName(const QString &userName) { setString("userName", userName); }
QString SDKSettings::login() const { return string("login"); }
void SDKSettings::setLogin(const QString &login) { setString("login", login); }
QString SDKSettings::accessKey() const { return string("accessKey"); }
void SDKSettings::setAccessKey(const QString &accessKey) { setString("accessKey", accessKey); }
QString SDKSettings::externalUserId() const { return string("externalUserId"); }
void SDKSettings::setExternalUserId(const QString &externalUserId) { setString("externalUserId", externalUserId); }
QString SDKSettings::playfabId() const { return string("playfabId"); }
void SDKSettings::setPlayfabId(const QString &playfabId) { setString("playfabId", playfabId); }
QString SDKSettings::playfabToken() const { return string("playfabToken"); }
void SDKSettings::setPlayfabToken(const QString &playfabToken) { setString("playfabToken", playfabToken); }
QString SDKSettings::steamSessionticket() const { return string("steamSessionTicket"); }
void SDKSettings::setSteamSessionticket(const QString &ticket) { setString("steamSessionTicket", ticket); }

void SDKSettings::settingsSync()
{
    m_settings->sync();
}

QString SDKSettings::string(const char *key) const
{
    return m_settings->value(QLatin1String(key)).toString();
}

void SDKSettings::setString(const char *key, const QString &value)
{
    m_settings->setValue(QLatin1String(key), value);
}

} // namespace NimblaSDK
