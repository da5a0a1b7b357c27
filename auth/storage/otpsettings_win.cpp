#include "otpsettings_p.h"

namespace NimblaSDK {

std::unique_ptr<QSettings> openOtpSettings(const QString &path)
{
    auto settings = std::make_unique<QSettings>(path, QSettings::NativeFormat);
    // A product reads only its own key, never a password left at the root for no product.
    settings->setFallbacksEnabled(false);
    return settings;
}

} // namespace NimblaSDK
