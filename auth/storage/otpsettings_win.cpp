#include "otpsettings_p.h"

namespace NimblaSDK {

std::unique_ptr<QSettings> openOtpSettings(const QString &path)
{
    return std::make_unique<QSettings>(path, QSettings::NativeFormat);
}

} // namespace NimblaSDK
