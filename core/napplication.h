#pragma once

#include "nimblacore_export.h"

#include "configmanager.h"
#include "sdksettings.h"
#include "urlsmanager.h"

#include <QString>

//! The library's whole interface, the core's and the sign-in's: everything a launcher includes is in here.
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
    //! The singleton; its first use loads the file that NIMBLA_CONFIG names, if the variable is set.
    static NApplication &instance();

    //! Replaces the configuration; on failure every value is empty and a warning names the problem.
    bool loadConfiguration(const QString &filePath);

    //! The player's persistent settings, opened for the configuration's appAccountName.
    SDKSettings *settingsManager();
    //! The configuration last loaded.
    const ConfigManager *configManager() const;
    //! The endpoint addresses of the configuration last loaded.
    const UrlsManager *urlsManager() const;
    //! The configuration's appAccountName.
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
