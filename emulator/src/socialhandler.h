#pragma once

#include "emulatorcontext.h"

#include <optional>
#include <string>

namespace NimblaEmulator {

// Social-network sign-in as the browser sees it: the provider list, the plain
// flow that redirects with a token, and the OAuth2 flow that redirects with a
// code. The seeded social user of each provider decides how it misbehaves.
class SocialHandler
{
public:
    explicit SocialHandler(const EmulatorContext& context);

    void handleProviders(HttpExchange& exchange) const;
    void handleLoginPage(HttpExchange& exchange) const;
    void handleAuthorize(HttpExchange& exchange) const;

private:
    std::string providerLink(const HttpExchange& exchange, const std::string& projectId,
                             const std::string& provider) const;
    static bool isUsableRedirect(const std::string& url);
    static void redirectWithError(HttpExchange& exchange, const std::string& redirectUri, const std::string& error,
                                  const std::string& description, const std::optional<std::string>& state);

    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
