#pragma once

#include <QLibrary>
#include <QString>
#include <QStringList>

class ISnailLaunch;

namespace NimblaSDK {

/*
 * The Stone launcher's library, loaded at run time and never linked, so that
 * the sign-in library starts on a machine without it. Its one entry point,
 * SnailLauncherSDK::GetLauncher(), is a C++ function and is found by its
 * decorated name, which depends on the compiler the library was built with
 * (one source file per platform lists the names to try).
 *
 * The library stays loaded once found: the launcher's own threads may still
 * run in it after the session that loaded it is gone.
 */
class StoneLauncherLibrary
{
public:
    //! Loads the library at \a configuredPath, else the platform's "SnailLauncherSDK" from the system's search path.
    explicit StoneLauncherLibrary(const QString &configuredPath);

    //! The launcher object; null when no library or entry point was found, or the library gave none.
    ISnailLaunch *getLauncher() const;
    //! Why no entry point was found; empty when one was.
    QString errorString() const;

private:
    using GetLauncherEntry = ISnailLaunch *(*)();

    bool _load(const QString &fileName);
    //! The decorated names of SnailLauncherSDK::GetLauncher() on this platform.
    static QStringList _entryNames();

    QLibrary m_library;
    GetLauncherEntry m_getLauncher = nullptr;
    QStringList m_errors;
};

} // namespace NimblaSDK
