#include "otpsettings_p.h"

#include "authlogging_p.h"
#include "otpprovider.h"

namespace NimblaSDK {

// Without a registry the same key becomes the native settings file of the organisation
// and, when a product is named, of the application "<product>_Launcher".
std::unique_ptr<QSettings> openOtpSettings(const QString &path)
{
    const QString &prefix = OtpProvider::RootPathPrefix;
    if (!path.startsWith(prefix)) {
        qCWarning(lcOtpProvider) << "No product name was set; there is no one-time password to look for";
        return nullptr;
    }
    const QString organisation = prefix.mid(prefix.lastIndexOf(QLatin1Char('\\')) + 1);
    const QString application = path.mid(prefix.size() + 1);
    auto settings = std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope, organisation, application);
    // The organisation's file stands for the root key, where a password left for no product
    // would otherwise be read, and never removed, by every product; the registry has no fallback.
    settings->setFallbacksEnabled(false);
    return settings;
}

} // namespace NimblaSDK
