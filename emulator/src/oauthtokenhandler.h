#pragma once

#include "emulatorcontext.h"

#include <string>
#include <utility>
#include <vector>

namespace NimblaEmulator {

// The OAuth2 token endpoint: authorization codes and refresh tokens for an
// access token (a JWT) and a fresh refresh token. Both are single-use.
class OAuthTokenHandler
{
public:
    using Form = std::vector<std::pair<std::string, std::string>>;

    explicit OAuthTokenHandler(const EmulatorContext& context);

    void handle(HttpExchange& exchange) const;

private:
    // False when the request was answered with an error.
    bool authenticateClient(HttpExchange& exchange, const Seed::Project& project, const Form& form) const;
    void exchangeCode(HttpExchange& exchange, const Seed::Project& project, const Form& form) const;
    void refresh(HttpExchange& exchange, const Seed::Project& project, const Form& form) const;

    void sendOAuthError(HttpExchange& exchange, const std::string& error, const std::string& description) const;
    void sendClientError(HttpExchange& exchange, const std::string& description) const;
    void sendTokens(HttpExchange& exchange, const EmulatorState::Grant& grant) const;

    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
