#include "stonelauncherlibrary.h"

namespace NimblaSDK {

QStringList StoneLauncherLibrary::_entryNames()
{
    // MSVC decorates the scope and the return type into the name, and the
    // launcher's declaration of both is not public: a function of the
    // namespace ("YA") or a static member of a class ("SA"), returning a
    // class ("V") or a struct ("U") named ISnailLaunch in the global scope or
    // in SnailLauncherSDK ("@1@"). A library built with mingw has the
    // Itanium name instead.
    const QString pointer = sizeof(void *) == 8 ? QStringLiteral("PEA") : QStringLiteral("PA");
    QStringList names;
    for (const char *scope : {"YA", "SA"}) {
        for (const char *kind : {"V", "U"}) {
            for (const char *typeScope : {"@@", "@1@"})
                names << QStringLiteral("?GetLauncher@SnailLauncherSDK@@%1%2%3ISnailLaunch%4XZ")
                                 .arg(QLatin1String(scope), pointer, QLatin1String(kind), QLatin1String(typeScope));
        }
    }
    names << QStringLiteral("_ZN16SnailLauncherSDK11GetLauncherEv");
    return names;
}

} // namespace NimblaSDK
