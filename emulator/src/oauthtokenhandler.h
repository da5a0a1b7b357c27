#pragma once

#include "emulatorcontext.h"

#include <map>
#include <string>

namespace NimblaEmulator {

// The OAuth2 token endpoint: authorization codes and refresh tokens for an
// access token (a JWT) and a fresh refresh token. Both are single-use.
class OAuthTokenHandler
{
public:
    explicit OAuthTokenHandler(const EmulatorContext& context);

    void handle(HttpExchange& exchange) const;

private:
    void sendOAuthError(HttpExchange& exchange, const std::string& error, const std::string& description) const;
    void sendTokens(HttpExchange& exchange, const EmulatorState::Grant& grant) const;

    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
