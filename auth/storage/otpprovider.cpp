#include "otpprovider.h"

#include "otpsettings_p.h"

namespace NimblaSDK {

const QString OtpProvider::Key = QStringLiteral("otp");
const QString OtpProvider::RootPathPrefix = QStringLiteral("HKEY_CURRENT_USER\\Software\\NIMBLA");

OtpProvider::OtpProvider(QObject *parent)
    : IOtpProvider(parent)
{
}

void OtpProvider::setProjectName(const QString &name)
{
    m_path = name.isEmpty() ? RootPathPrefix : RootPathPrefix + QLatin1Char('\\') + name + QStringLiteral("_Launcher");
}

QString OtpProvider::read()
{
    const std::unique_ptr<QSettings> settings = openOtpSettings(m_path);
    return settings ? settings->value(Key, QVariant()).toString() : QString();
}

void OtpProvider::remove()
{
    const std::unique_ptr<QSettings> settings = openOtpSettings(m_path);
    if (settings)
        settings->remove(Key);
}

} // namespace NimblaSDK
