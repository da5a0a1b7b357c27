#pragma once

#include "emulatorcontext.h"

namespace NimblaEmulator {

// The pages a browser lands on: the end of a sign-in and the privacy policy.
class PagesHandler
{
public:
    explicit PagesHandler(const EmulatorContext& context);

    void handleCallback(HttpExchange& exchange) const;
    void handlePrivacyPolicy(HttpExchange& exchange) const;

private:
    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
