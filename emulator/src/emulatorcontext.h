#pragma once

#include "emulatorstate.h"
#include "faultinjector.h"
#include "httpexchange.h"
#include "requestlog.h"
#include "seed.h"
#include "tokenissuer.h"
#include "urllayout.h"

namespace NimblaEmulator {

// What every handler family may use. Owned by the Emulator; handlers keep a
// reference for their whole life.
class EmulatorContext
{
public:
    EmulatorContext(const Seed& seed, EmulatorState& state, const TokenIssuer& issuer, const UrlLayout& layout,
                    RequestLog& requests, FaultInjector& faults);

    const Seed& seed() const;
    EmulatorState& state() const;
    const TokenIssuer& issuer() const;
    const UrlLayout& layout() const;
    RequestLog& requests() const;
    FaultInjector& faults() const;

    // The project named by the "{project}" path segment; answers 404 and
    // returns null when there is no such project.
    const Seed::Project* requireProject(HttpExchange& exchange) const;

    // The seeded account as it stands now: with the e-mail given to it since, if any.
    Seed::User account(const Seed::User& seeded) const;

private:
    const Seed& _seed;
    EmulatorState& _state;
    const TokenIssuer& _issuer;
    const UrlLayout& _layout;
    RequestLog& _requests;
    FaultInjector& _faults;
};

} // namespace NimblaEmulator
