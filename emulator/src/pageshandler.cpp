#include "pageshandler.h"

namespace NimblaEmulator {

PagesHandler::PagesHandler(const EmulatorContext& context)
    : _context(context)
{
}

void PagesHandler::handleCallback(HttpExchange& exchange) const
{
    exchange.sendHtml(200, "Sign-in finished", "You are signed in. You can close this tab and return to the launcher.");
}

void PagesHandler::handlePrivacyPolicy(HttpExchange& exchange) const
{
    const std::string token = exchange.query("token").value_or(std::string());
    const bool known = !token.empty() && _context.issuer().verify(token);
    exchange.sendHtml(200, "Privacy policy",
                      known ? "Please read and accept the privacy policy to finish signing in."
                            : "Please read the privacy policy. This link carries no valid sign-in token.");
}

} // namespace NimblaEmulator
