#pragma once

#include "nimblacore_export.h"

#include "configmanager.h"
#include "sdksettings.h"
#include "urlsmanager.h"

#include <QString>

namespace NimblaSDK {

/*!
 * The application singleton: configuration, endpoint URLs and the player's
 * persistent settings.
 *
 * The configuration is read from the JSON file that the application names
 * with loadConfiguration(), or else from the file named by the environment
 * variable NIMBLA_CONFIG when the singleton is first used.
 *
 * \code
 * NimblaSDK::NApplication::instance().loadConfiguration(QStringLiteral("launcher.json"));
 * auto *session = new NimblaSDK::JwtLoginSession(this);
 * \endcode
 */
class NIMBLACORE_EXPORT NApplication
{
public:
    static NApplication &instance();

    //! Replaces the configuration; on failure every value is empty and a warning names the problem.
    bool loadConfiguration(const QString &filePath);

    SDKSettings *settingsManager();
    const ConfigManager *configManager() const;
    const UrlsManager *urlsManager() const;
    QString appAccountName() const;

    NApplication(const NApplication &) = delete;
    NApplication &operator=(const NApplication &) = delete;

private:
    NApplication();

    ConfigManager m_config;
    UrlsManager m_urls;
    SDKSettings m_settings;
};

} // namespace NimblaSDK
