#pragma once

#include "emulatorcontext.h"

namespace NimblaEmulator {

// The Mail.Ru game-centre sign-in: the login answers a redirect whose address
// carries the token, and the client then fetches that address, the landing
// page, itself. The seeded account of the user id decides how it misbehaves.
class MailruHandler
{
public:
    explicit MailruHandler(const EmulatorContext& context);

    void handleLogin(HttpExchange& exchange) const;
    void handleLanding(HttpExchange& exchange) const;

private:
    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
