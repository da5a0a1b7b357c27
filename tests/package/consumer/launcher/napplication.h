#pragma once

// The launcher's own application class, in a header whose name the core also uses.
namespace Launcher {

inline const char *applicationName()
{
    return "launcher";
}

} // namespace Launcher
