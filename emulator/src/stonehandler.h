#pragma once

#include "emulatorcontext.h"

namespace NimblaEmulator {

// The Stone launcher sign-in: the service ticket, game id and user id that the
// launcher's library gave are traded for a redirect whose address carries the
// token; and the e-mail address of an account that has none.
class StoneHandler
{
public:
    explicit StoneHandler(const EmulatorContext& context);

    void handleLogin(HttpExchange& exchange) const;
    void handleSetEmail(HttpExchange& exchange) const;

private:
    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
