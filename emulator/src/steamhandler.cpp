#include "steamhandler.h"

#include "codechallenge.h"
#include "jsonbody.h"
#include "steamticket.h"

#include <Poco/URI.h>

#include <algorithm>
#include <cctype>
#include <optional>

namespace NimblaEmulator {

namespace {

bool isDecimal(const std::string& text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); });
}

} // namespace

SteamHandler::SteamHandler(const EmulatorContext& context)
    : _context(context)
{
}

const Seed::User* SteamHandler::ticketAccount(HttpExchange& exchange) const
{
    if (!isDecimal(exchange.query("app_id").value_or(std::string())))
    {
        exchange.sendError(400, "\"app_id\" must be a Steam application id (decimal digits)");
        return nullptr;
    }
    const std::optional<std::string> ticket = SteamTicket::accountKey(exchange.query("ticket").value_or(std::string()));
    if (!ticket)
    {
        exchange.sendError(400, "\"ticket\" must be a session ticket in hexadecimal");
        return nullptr;
    }
    const Seed::User* user = _context.seed().findSteamUser(*ticket);
    if (!user)
        exchange.sendError(403, "Steam session ticket is not valid");
    return user;
}

void SteamHandler::handleLogin(HttpExchange& exchange) const
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    const Seed::User* user = ticketAccount(exchange);
    if (!user)
        return;
    Poco::URI target(_context.layout().url(UrlLayout::Callback));
    if (user->behaviour != "no-token")
        target.addQueryParameter("token", _context.issuer().issue(_context.account(*user), project->id));
    exchange.redirect(target.toString());
}

void SteamHandler::handleOAuthLogin(HttpExchange& exchange) const
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    const std::string state = exchange.query("state").value_or(std::string());
    if (state.empty())
    {
        exchange.sendError(400, "\"state\" is required");
        return;
    }
    if (exchange.query("client_id").value_or(std::string()) != std::to_string(project->clientId))
    {
        exchange.sendError(400, "\"client_id\" does not belong to this project");
        return;
    }
    if (exchange.query("response_type").value_or(std::string()) != "code")
    {
        exchange.sendError(400, "\"response_type\" must be code");
        return;
    }
    const CodeChallenge::Request challenge = CodeChallenge::read(exchange, _context.state().pkceRequired());
    if (!challenge.error.empty())
    {
        exchange.sendError(400, challenge.error);
        return;
    }
    const Seed::User* user = ticketAccount(exchange);
    if (!user)
        return;

    // The code is exchanged with the configured callback address, as for the password login.
    const std::string callback = _context.layout().url(UrlLayout::Callback);
    Poco::URI target(callback);
    if (user->behaviour != "no-token")
    {
        EmulatorState::Grant grant;
        grant.projectId = project->id;
        grant.clientId = project->clientId;
        grant.login = user->sub;
        grant.redirectUri = callback;
        grant.base64Tokens = user->base64Tokens;
        grant.codeChallenge = challenge.challenge;
        target.addQueryParameter("code", _context.state().issueCode(grant));
    }
    if (user->behaviour == "wrong-state")
        target.addQueryParameter("state", "not-" + state);
    else if (user->behaviour != "no-state")
        target.addQueryParameter("state", state);
    exchange.redirect(target.toString());
}

void SteamHandler::handleSetEmail(HttpExchange& exchange) const
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    const Poco::JSON::Object::Ptr body = JsonBody::parseObject(exchange.body());
    const Poco::JSON::Object::Ptr fields = body ? body->getObject("updatedFields") : nullptr;
    const std::optional<std::string> token = body ? JsonBody::string(body, "token") : std::nullopt;
    const std::optional<std::string> email = fields ? JsonBody::string(fields, "email") : std::nullopt;
    if (!token || !email)
    {
        exchange.sendError(400, "The body must be {\"token\": ..., \"updatedFields\": {\"email\": ...}}");
        return;
    }
    if (email->find('@') == std::string::npos)
    {
        exchange.sendError(400, "\"email\" is not an e-mail address");
        return;
    }
    const Poco::JSON::Object::Ptr payload = _context.issuer().verify(*token);
    if (!payload || payload->optValue<std::string>("nimbla_login_project_id", std::string()) != project->id)
    {
        exchange.sendError(401, "Token is invalid or expired");
        return;
    }
    const std::string sub = payload->optValue<std::string>("sub", std::string());
    const auto& steamUsers = _context.seed().steamUsers;
    // A seeded PlayFab player that signs in with Steam gives its e-mail here too.
    if (std::none_of(steamUsers.begin(), steamUsers.end(), [&](const Seed::User& user) { return user.sub == sub; }) &&
        !_context.seed().playfab.findSteamPlayerBySubject(sub))
    {
        exchange.sendError(403, "The token does not belong to a Steam account");
        return;
    }
    _context.state().setEmail(sub, *email);
    exchange.sendEmpty(204);
}

} // namespace NimblaEmulator
