#pragma once

#include "seed.h"

#include <string>

namespace NimblaEmulator {

// Where an authorization server may send a code. A desktop client listens on
// a loopback port that the system picks anew each time, so any loopback
// address is allowed; anything else must be registered for the project
// exactly. A fragment is never allowed: the browser would keep it across the
// redirect, and the code would land in it.
class RedirectUriPolicy
{
public:
    static bool allows(const Seed::Project& project, const std::string& uri);

private:
    static bool isLoopback(const std::string& uri);
};

} // namespace NimblaEmulator
