#include "jwtvalidationhandler.h"

#include "jsonbody.h"

namespace NimblaEmulator {

JwtValidationHandler::JwtValidationHandler(const EmulatorContext& context)
    : _context(context)
{
}

void JwtValidationHandler::handle(HttpExchange& exchange) const
{
    const Poco::JSON::Object::Ptr body = JsonBody::parseObject(exchange.body());
    if (!body)
    {
        exchange.sendError(400, "Request body must be a JSON object");
        return;
    }
    const std::optional<std::string> token = JsonBody::string(body, "token");
    if (!token)
    {
        exchange.sendError(422, "Field \"token\" is required");
        return;
    }
    const Poco::JSON::Object::Ptr payload = _context.issuer().verify(*token);
    const std::optional<std::string> projectId = JsonBody::string(payload, "nimbla_login_project_id");
    if (!payload || !projectId || !_context.seed().findProject(*projectId))
    {
        exchange.sendError(422, "Token is invalid or expired");
        return;
    }
    exchange.sendEmpty(204);
}

} // namespace NimblaEmulator
