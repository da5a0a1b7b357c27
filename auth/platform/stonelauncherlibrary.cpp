#include "stonelauncherlibrary.h"

namespace NimblaSDK {

StoneLauncherLibrary::StoneLauncherLibrary(const QString &configuredPath)
{
    if (!configuredPath.isEmpty() && _load(configuredPath))
        return;
    _load(QStringLiteral("SnailLauncherSDK"));
}

bool StoneLauncherLibrary::_load(const QString &fileName)
{
    m_library.setFileName(fileName);
    if (!m_library.load()) {
        m_errors << m_library.errorString();
        return false;
    }
    for (const QString &name : _entryNames()) {
        m_getLauncher = reinterpret_cast<GetLauncherEntry>(m_library.resolve(name.toLatin1().constData()));
        if (m_getLauncher) {
            m_errors.clear();
            return true;
        }
    }
    m_errors << QStringLiteral("%1 has no SnailLauncherSDK::GetLauncher()").arg(m_library.fileName());
    return false;
}

ISnailLaunch *StoneLauncherLibrary::getLauncher() const
{
    return m_getLauncher ? m_getLauncher() : nullptr;
}

QString StoneLauncherLibrary::errorString() const
{
    return m_errors.join(QStringLiteral("; "));
}

} // namespace NimblaSDK
