#pragma once

#include <QSettings>
#include <QString>

#include <memory>

namespace NimblaSDK {

// The settings that hold the one-time password for a registry-style path such as
// "HKEY_CURRENT_USER\Software\NIMBLA\Demo_Launcher"; null when the path names none.
// One implementation per platform, chosen in CMake.
std::unique_ptr<QSettings> openOtpSettings(const QString &path);

} // namespace NimblaSDK
