#pragma once

#include "emulatorcontext.h"

namespace NimblaEmulator {

// Answers whether a token is one of ours, unexpired and for a known project.
class JwtValidationHandler
{
public:
    explicit JwtValidationHandler(const EmulatorContext& context);

    void handle(HttpExchange& exchange) const;

private:
    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
