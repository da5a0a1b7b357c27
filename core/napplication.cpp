#include "napplication.h"

#include "corelogging_p.h"

namespace NimblaSDK {

namespace {
const char ConfigEnvironmentVariable[] = "NIMBLA_CONFIG";
}

NApplication &NApplication::instance()
{
    static NApplication application;
    return application;
}

NApplication::NApplication()
{
    const QString path = qEnvironmentVariable(ConfigEnvironmentVariable);
    if (path.isEmpty()) {
        qCInfo(lcApplication) << "No configuration file named in" << ConfigEnvironmentVariable
                              << "- waiting for NApplication::loadConfiguration()";
        m_settings.open(QString());
        return;
    }
    loadConfiguration(path);
}

bool NApplication::loadConfiguration(const QString &filePath)
{
    const bool loaded = m_config.load(filePath);
    m_urls.setUrls(m_config.urls());
    m_settings.open(m_config.appAccountName());
    return loaded;
}

SDKSettings *NApplication::settingsManager()
{
    return &m_settings;
}

const ConfigManager *NApplication::configManager() const
{
    return &m_config;
}

const UrlsManager *NApplication::urlsManager() const
{
    return &m_urls;
}

QString NApplication::appAccountName() const
{
    return m_config.appAccountName();
}

} // namespace NimblaSDK
