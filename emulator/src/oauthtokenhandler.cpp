#include "oauthtokenhandler.h"

#include "codechallenge.h"
#include "redirecturipolicy.h"

#include <Poco/Base64Decoder.h>
#include <Poco/Exception.h>
#include <Poco/JSON/Object.h>
#include <Poco/String.h>
#include <Poco/URI.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>

namespace NimblaEmulator {

namespace {

// application/x-www-form-urlencoded, '+' read as a space. Kept undecoded when
// it cannot be decoded; it will simply not match anything issued.
std::string formDecode(std::string text)
{
    std::replace(text.begin(), text.end(), '+', ' ');
    try
    {
        std::string decoded;
        Poco::URI::decode(text, decoded);
        return decoded;
    }
    catch (const Poco::Exception&)
    {
        return text;
    }
}

// Parameters without a value count as omitted, as OAuth2 has it.
OAuthTokenHandler::Form parseForm(const std::string& body)
{
    OAuthTokenHandler::Form fields;
    std::istringstream items(body);
    std::string item;
    while (std::getline(items, item, '&'))
    {
        const std::size_t equals = item.find('=');
        std::string name = formDecode(item.substr(0, equals));
        std::string value = equals == std::string::npos ? std::string() : formDecode(item.substr(equals + 1));
        if (!name.empty() && !value.empty())
            fields.emplace_back(std::move(name), std::move(value));
    }
    return fields;
}

std::optional<std::string> repeatedName(const OAuthTokenHandler::Form& form)
{
    std::set<std::string> seen;
    for (const auto& field : form)
    {
        if (!seen.insert(field.first).second)
            return field.first;
    }
    return std::nullopt;
}

std::optional<std::string> field(const OAuthTokenHandler::Form& form, const std::string& name)
{
    const auto it = std::find_if(form.begin(), form.end(), [&name](const auto& item) { return item.first == name; });
    return it == form.end() ? std::nullopt : std::optional<std::string>(it->second);
}

struct BasicCredentials
{
    std::string clientId;
    std::string secret;
};

// HTTP Basic with the id and the secret form-encoded before they are joined,
// as OAuth2 asks; "id:" is a client without a secret.
std::optional<BasicCredentials> readBasic(const std::string& authorization)
{
    const std::string scheme = "basic ";
    if (authorization.size() <= scheme.size() || Poco::icompare(authorization.substr(0, scheme.size()), scheme) != 0)
        return std::nullopt;
    std::istringstream encoded(Poco::trim(authorization.substr(scheme.size())));
    Poco::Base64Decoder decoder(encoded);
    std::string decoded;
    try
    {
        decoded.assign(std::istreambuf_iterator<char>(decoder), std::istreambuf_iterator<char>());
    }
    catch (const Poco::Exception&)
    {
        return std::nullopt;
    }
    const std::size_t colon = decoded.find(':');
    if (colon == std::string::npos)
        return std::nullopt;
    return BasicCredentials{formDecode(decoded.substr(0, colon)), formDecode(decoded.substr(colon + 1))};
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

void OAuthTokenHandler::sendClientError(HttpExchange& exchange, const std::string& description) const
{
    exchange.setHeader("WWW-Authenticate", "Basic realm=\"nimbla-login-emulator\"");
    exchange.sendError(401, "invalid_client: " + description);
}

void OAuthTokenHandler::handle(HttpExchange& exchange) const
{
    // Tokens must not stay in any cache on the way.
    exchange.setHeader("Cache-Control", "no-store");
    exchange.setHeader("Pragma", "no-cache");

    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    const Form form = parseForm(exchange.body());
    if (const std::optional<std::string> name = repeatedName(form))
    {
        sendOAuthError(exchange, "invalid_request", "parameter " + *name + " is sent more than once");
        return;
    }
    if (!authenticateClient(exchange, *project, form))
        return;

    const std::optional<std::string> grantType = field(form, "grant_type");
    if (!grantType)
        sendOAuthError(exchange, "invalid_request", "grant_type is missing");
    else if (*grantType == "authorization_code")
        exchangeCode(exchange, *project, form);
    else if (*grantType == "refresh_token")
        refresh(exchange, *project, form);
    else
        sendOAuthError(exchange, "unsupported_grant_type", "grant_type must be authorization_code or refresh_token");
}

bool OAuthTokenHandler::authenticateClient(HttpExchange& exchange, const Seed::Project& project,
                                           const Form& form) const
{
    std::optional<std::string> clientId = field(form, "client_id");
    std::optional<std::string> secret = field(form, "client_secret");
    const std::string authorization = Poco::trim(exchange.header("Authorization"));
    if (!authorization.empty())
    {
        const std::optional<BasicCredentials> basic = readBasic(authorization);
        if (!basic)
        {
            sendClientError(exchange, "the Authorization header is not HTTP Basic client credentials");
            return false;
        }
        if (secret)
        {
            sendOAuthError(exchange, "invalid_request", "the client authenticates in more than one way");
            return false;
        }
        if (clientId && *clientId != basic->clientId)
        {
            sendOAuthError(exchange, "invalid_request", "client_id differs from the authenticated client");
            return false;
        }
        clientId = basic->clientId;
        secret = basic->secret;
    }

    if (clientId != std::to_string(project.clientId))
    {
        sendClientError(exchange, "client_id does not belong to this project");
        return false;
    }
    if (secret.value_or(std::string()) != project.clientSecret)
    {
        sendClientError(exchange, project.clientSecret.empty() ? "this client is public and has no secret"
                                                              : "client authentication failed");
        return false;
    }
    return true;
}

void OAuthTokenHandler::exchangeCode(HttpExchange& exchange, const Seed::Project& project, const Form& form) const
{
    const std::optional<std::string> code = field(form, "code");
    const std::optional<std::string> redirectUri = field(form, "redirect_uri");
    const std::optional<std::string> verifier = field(form, "code_verifier");
    if (!code)
    {
        sendOAuthError(exchange, "invalid_request", "code is missing");
        return;
    }
    if (redirectUri && !RedirectUriPolicy::allows(project, *redirectUri))
    {
        sendOAuthError(exchange, "invalid_request",
                       "redirect_uri must be a loopback address or a registered one, without a fragment");
        return;
    }
    if (verifier && !CodeChallenge::isWellFormed(*verifier))
    {
        sendOAuthError(exchange, "invalid_request", "code_verifier must be 43 to 128 unreserved characters");
        return;
    }

    const EmulatorState::CodeRedemption redemption = _context.state().redeemCode(*code);
    if (!redemption.grant || redemption.grant->projectId != project.id)
    {
        sendOAuthError(exchange, "invalid_grant", "authorization code is unknown or already used");
        return;
    }
    // Every code is issued for a redirect_uri, so leaving it out is a mismatch too (RFC 6749, 4.1.3).
    if (!redirectUri || redemption.grant->redirectUri != *redirectUri)
    {
        sendOAuthError(exchange, "invalid_grant", "redirect_uri differs from the one the code was issued for");
        return;
    }
    if (!redemption.grant->codeChallenge.empty()
        && !(verifier && CodeChallenge::verifies(redemption.grant->codeChallenge, *verifier)))
    {
        sendOAuthError(exchange, "invalid_grant", "code_verifier is missing or does not match the code_challenge");
        return;
    }
    EmulatorState::Grant grant = *redemption.grant;
    grant.family = *code;
    sendTokens(exchange, grant);
}

void OAuthTokenHandler::refresh(HttpExchange& exchange, const Seed::Project& project, const Form& form) const
{
    // A refresh grant names no redirect_uri; the one the library sends anyway is ignored.
    const std::optional<std::string> refreshToken = field(form, "refresh_token");
    if (!refreshToken)
    {
        sendOAuthError(exchange, "invalid_request", "refresh_token is missing");
        return;
    }
    const std::optional<EmulatorState::Grant> grant = _context.state().takeRefreshToken(*refreshToken);
    if (!grant || grant->projectId != project.id)
    {
        sendOAuthError(exchange, "invalid_grant", "refresh token is unknown or already used");
        return;
    }
    sendTokens(exchange, *grant);
}

void OAuthTokenHandler::sendTokens(HttpExchange& exchange, const EmulatorState::Grant& grant) const
{
    const Seed::User* seeded = _context.seed().findAnyUser(grant.login);
    if (!seeded)
    {
        exchange.sendError(500, "The grant names a user the seed does not know");
        return;
    }
    const Seed::User account = _context.account(*seeded);
    const Seed::User* user = &account;
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
