#include "stonelauncherlibrary.h"

namespace NimblaSDK {

QStringList StoneLauncherLibrary::_entryNames()
{
    // The Itanium C++ ABI's name of SnailLauncherSDK::GetLauncher(), as a
    // namespace function or a static member alike; the return type is not
    // part of it.
    return {QStringLiteral("_ZN16SnailLauncherSDK11GetLauncherEv")};
}

} // namespace NimblaSDK
