#pragma once

#include "emulatorcontext.h"

#include <string>

namespace NimblaEmulator {

// Steam sign-in as the service sees it: the launcher sends the game's Steam
// application id and the player's session ticket, as hexadecimal text, and is
// answered with a redirect that it reads but does not follow: a token for the
// plain login, a code and the state for the OAuth2 one. The ticket's bytes are
// the account key of a seeded Steam account (the stand-in Steam library hands
// out the key it is given), and that account's behaviour decides how the
// redirect misbehaves. An account without an e-mail gets one through the
// set-e-mail endpoint.
class SteamHandler
{
public:
    explicit SteamHandler(const EmulatorContext& context);

    void handleLogin(HttpExchange& exchange) const;
    void handleOAuthLogin(HttpExchange& exchange) const;
    void handleSetEmail(HttpExchange& exchange) const;

private:
    // The account that the request's app id and ticket name; answers the failure and returns null otherwise.
    const Seed::User* ticketAccount(HttpExchange& exchange) const;

    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
