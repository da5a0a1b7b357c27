#include "stonehandler.h"

#include "jsonbody.h"

#include <Poco/URI.h>

#include <climits>
#include <cstdlib>

namespace NimblaEmulator {

namespace {

// A decimal 32-bit integer, as the launcher's ids are.
std::optional<long long> int32Query(const HttpExchange& exchange, const char* name)
{
    const std::optional<std::string> text = exchange.query(name);
    if (!text || text->empty())
        return std::nullopt;
    char* end = nullptr;
    const long long value = std::strtoll(text->c_str(), &end, 10);
    if (*end != '\0' || value < INT_MIN || value > INT_MAX)
        return std::nullopt;
    return value;
}

} // namespace

StoneHandler::StoneHandler(const EmulatorContext& context)
    : _context(context)
{
}

void StoneHandler::handleLogin(HttpExchange& exchange) const
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    const std::optional<long long> userId = int32Query(exchange, "user_id");
    if (!userId || !int32Query(exchange, "game_id"))
    {
        exchange.sendError(400, "\"user_id\" and \"game_id\" must be 32-bit integers");
        return;
    }
    const Seed::StoneUser* user = _context.seed().findStoneUser(*userId);
    if (!user || exchange.query("ticket").value_or(std::string()) != user->ticket)
    {
        exchange.sendError(401, "Unknown Stone user or service ticket");
        return;
    }

    Poco::URI target(_context.layout().url(UrlLayout::Callback));
    if (user->behaviour != "no-token")
    {
        target.addQueryParameter("token", _context.issuer().issue(_context.account(user->account), project->id));
    }
    exchange.redirect(target.toString());
}

void StoneHandler::handleSetEmail(HttpExchange& exchange) const
{
    if (!_context.requireProject(exchange))
        return;
    const Poco::JSON::Object::Ptr body = JsonBody::parseObject(exchange.body());
    const std::optional<std::string> token = JsonBody::string(body, "token");
    const Poco::JSON::Object::Ptr fields = body ? body->getObject("updatedFields") : nullptr;
    const std::optional<std::string> email = JsonBody::string(fields, "email");
    if (!token || !email)
    {
        exchange.sendError(400, "The body must be {\"token\": ..., \"updatedFields\": {\"email\": ...}}");
        return;
    }
    const Poco::JSON::Object::Ptr payload = _context.issuer().verify(*token);
    if (!payload)
    {
        exchange.sendError(422, "Token is invalid or expired");
        return;
    }
    const Seed::StoneUser* user = _context.seed().findStoneUserBySub(payload->optValue<std::string>("sub", ""));
    if (!user)
    {
        exchange.sendError(404, "The token is not one of a Stone account");
        return;
    }
    if (email->find('@') == std::string::npos)
    {
        exchange.sendError(422, "Invalid e-mail address");
        return;
    }
    _context.state().setEmail(user->account.sub, *email);
    exchange.sendEmpty(204);
}

} // namespace NimblaEmulator
