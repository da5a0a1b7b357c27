#include "oauthtokenhandler.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Object.h>
#include <Poco/URI.h>

namespace NimblaEmulator {

namespace {

// application/x-www-form-urlencoded; the first occurrence of a name wins.
std::map<std::string, std::string> parseForm(const std::string& body)
{
    std::map<std::string, std::string> fields;
    std::size_t start = 0;
    while (start <= body.size())
    {
        std::size_t end = body.find('&', start);
        if (end == std::string::npos)
            end = body.size();
        std::string item = body.substr(start, end - start);
        for (char& c : item)
        {
            if (c == '+')
                c = ' ';
        }
        const std::size_t equals = item.find('=');
        std::string name = item.substr(0, equals);
        std::string value = equals == std::string::npos ? std::string() : item.substr(equals + 1);
        try
        {
            std::string decodedName;
            std::string decodedValue;
            Poco::URI::decode(name, decodedName);
            Poco::URI::decode(value, decodedValue);
            name = decodedName;
            value = decodedValue;
        }
        catch (const Poco::Exception&)
        {
            // Kept undecoded; it will simply not match anything issued.
        }
        if (!name.empty())
            fields.emplace(name, value);
        start = end + 1;
    }
    return fields;
}

std::string field(const std::map<std::string, std::string>& fields, const std::string& name)
{
    const auto it = fields.find(name);
    return it == fields.end() ? std::string() : it->second;
}

} // namespace

OAuthTokenHandler::OAuthTokenHandler(const EmulatorContext& context)
    : _context(context)
{
}

void OAuthTokenHandler::sendOAuthError(HttpExchange& exchange, const std::string& error,
                                       const std::string& description) const
{
    exchange.sendError(400, error + ": " + description);
}

void OAuthTokenHandler::handle(HttpExchange& exchange) const
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    const std::map<std::string, std::string> form = parseForm(exchange.body());
    const std::string grantType = field(form, "grant_type");
    if (grantType != "authorization_code" && grantType != "refresh_token")
    {
        sendOAuthError(exchange, "unsupported_grant_type", "grant_type must be authorization_code or refresh_token");
        return;
    }
    if (field(form, "client_id") != std::to_string(project->clientId))
    {
        sendOAuthError(exchange, "invalid_client", "client_id does not belong to this project");
        return;
    }

    if (grantType == "authorization_code")
    {
        const std::optional<EmulatorState::Grant> grant = _context.state().takeCode(field(form, "code"));
        if (!grant || grant->projectId != project->id)
        {
            sendOAuthError(exchange, "invalid_grant", "authorization code is unknown or already used");
            return;
        }
        if (grant->redirectUri != field(form, "redirect_uri"))
        {
            sendOAuthError(exchange, "invalid_grant", "redirect_uri differs from the one the code was issued for");
            return;
        }
        sendTokens(exchange, *grant);
        return;
    }

    const std::optional<EmulatorState::Grant> grant = _context.state().takeRefreshToken(field(form, "refresh_token"));
    if (!grant || grant->projectId != project->id)
    {
        sendOAuthError(exchange, "invalid_grant", "refresh token is unknown or already used");
        return;
    }
    sendTokens(exchange, *grant);
}

void OAuthTokenHandler::sendTokens(HttpExchange& exchange, const EmulatorState::Grant& grant) const
{
    const Seed::User* user = _context.seed().findAnyUser(grant.login);
    if (!user)
    {
        exchange.sendError(500, "The grant names a user the seed does not know");
        return;
    }
    TokenIssuer::Options options = _context.issuer().defaults();
    options.forged = grant.forgedToken;

    Poco::JSON::Object::Ptr body = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
    body->set("access_token", _context.issuer().issue(*user, grant.projectId, options));
    body->set("refresh_token", _context.state().issueRefreshToken(grant));
    body->set("token_type", "bearer");
    body->set("expires_in", static_cast<Poco::Int64>(options.lifetimeSeconds));
    exchange.sendJson(200, body);
}

} // namespace NimblaEmulator
