#include "attributeshandler.h"

#include <Poco/JSON/Array.h>

namespace NimblaEmulator {

AttributesHandler::AttributesHandler(const EmulatorContext& context)
    : _context(context)
{
}

bool AttributesHandler::authorize(HttpExchange& exchange) const
{
    const std::string token = exchange.bearerToken();
    if (token.empty())
    {
        exchange.sendError(403, "Authorization bearer token is missing");
        return false;
    }
    if (!_context.issuer().verify(token))
    {
        exchange.sendError(403, "Authorization bearer token is invalid or expired");
        return false;
    }
    return true;
}

void AttributesHandler::handleGet(HttpExchange& exchange) const
{
    if (!authorize(exchange))
        return;
    exchange.sendJson(200, Poco::JSON::Array::Ptr(new Poco::JSON::Array));
}

void AttributesHandler::handleUpdate(HttpExchange& exchange) const
{
    if (!authorize(exchange))
        return;
    exchange.sendError(501, "Updating user attributes is not available in the emulator yet");
}

} // namespace NimblaEmulator
