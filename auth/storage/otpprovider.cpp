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
    if (m_removal.valid())
        m_removal.wait();
    const std::unique_ptr<QSettings> settings = openOtpSettings(m_path);
    return settings ? settings->value(Key, QVariant()).toString() : QString();
}

void OtpProvider::remove()
{
    // A removal ends in a write of the settings file with an fdatasync, which held
    // the GUI thread at the end of every one-time-password sign-in; it is made on a
    // thread of its own, which the next read() and the destructor wait for.
    if (m_removal.valid())
        m_removal.wait();
    m_removal = std::async(std::launch::async, [path = m_path] {
        const std::unique_ptr<QSettings> settings = openOtpSettings(path);
        if (settings)
            settings->remove(Key);
    });
}

} // namespace NimblaSDK
