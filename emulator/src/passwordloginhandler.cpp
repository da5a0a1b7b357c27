#include "passwordloginhandler.h"

#include "codechallenge.h"
#include "jsonbody.h"

#include <Poco/URI.h>

namespace NimblaEmulator {

PasswordLoginHandler::PasswordLoginHandler(const EmulatorContext& context)
    : _context(context)
{
}

PasswordLoginHandler::Attempt PasswordLoginHandler::authenticate(HttpExchange& exchange) const
{
    Attempt attempt;
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return attempt;
    const Poco::JSON::Object::Ptr body = JsonBody::parseObject(exchange.body());
    if (!body)
    {
        exchange.sendError(400, "Request body must be a JSON object");
        return attempt;
    }
    const std::optional<std::string> username = JsonBody::string(body, "username");
    const std::optional<std::string> password = JsonBody::string(body, "password");
    if (!username || !password || username->empty())
    {
        exchange.sendError(400, "Fields \"username\" and \"password\" are required");
        return attempt;
    }
    if (body->has("remember_me") && !JsonBody::boolean(body, "remember_me"))
    {
        exchange.sendError(400, "Field \"remember_me\" must be a boolean");
        return attempt;
    }

    const Seed::User* user = _context.seed().findUser(*username);
    if (user && user->behaviour == "captcha")
    {
        exchange.sendError(422, "Invalid captcha");
        return attempt;
    }
    if (!user || user->behaviour == "wrong-password" || user->password != *password)
    {
        exchange.sendError(401, "Invalid login or password");
        return attempt;
    }
    attempt.project = project;
    attempt.user = user;
    return attempt;
}

std::string PasswordLoginHandler::policyUrl(const Attempt& attempt) const
{
    TokenIssuer::Options options = _context.issuer().defaults();
    options.withAccessKey = false;
    Poco::URI url(_context.layout().url(UrlLayout::PrivacyPolicy));
    url.addQueryParameter("token", _context.issuer().issue(*attempt.user, attempt.project->id, options));
    return url.toString();
}

void PasswordLoginHandler::answer(HttpExchange& exchange, const Attempt& attempt, const std::string& loginUrl) const
{
    Poco::JSON::Object::Ptr body = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
    body->set("login_url", loginUrl);
    if (attempt.user->behaviour == "error-in-success")
    {
        Poco::JSON::Object::Ptr error = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
        error->set("code", 1011);
        error->set("description", "Account requires attention");
        body->set("error", error);
    }
    exchange.sendJson(200, body);
}

bool PasswordLoginHandler::sendToPolicyPage(HttpExchange& exchange, const Attempt& attempt) const
{
    // A user who has not accepted the privacy policy goes to its page in either flow, with no code issued.
    if (attempt.user->behaviour != "privacy-policy")
        return false;
    answer(exchange, attempt, policyUrl(attempt));
    return true;
}

void PasswordLoginHandler::handlePlain(HttpExchange& exchange) const
{
    const Attempt attempt = authenticate(exchange);
    if (!attempt.user || sendToPolicyPage(exchange, attempt))
        return;
    Poco::URI url(_context.layout().url(UrlLayout::Callback));
    url.addQueryParameter("token", _context.issuer().issue(*attempt.user, attempt.project->id));
    answer(exchange, attempt, url.toString());
}

void PasswordLoginHandler::handleOAuth(HttpExchange& exchange) const
{
    const std::optional<std::string> state = exchange.query("state");
    if (!state || state->empty())
    {
        if (_context.requireProject(exchange))
            exchange.sendError(400, "Query item \"state\" is required");
        return;
    }
    const std::optional<std::string> clientId = exchange.query("client_id");
    const std::optional<std::string> responseType = exchange.query("response_type");
    const CodeChallenge::Request challenge = CodeChallenge::read(exchange, _context.state().pkceRequired());
    if (const Seed::Project* project = _context.seed().findProject(exchange.pathParam("project")))
    {
        if (clientId && *clientId != std::to_string(project->clientId))
        {
            exchange.sendError(400, "Query item \"client_id\" does not belong to this project");
            return;
        }
        if (responseType && *responseType != "code")
        {
            exchange.sendError(400, "Query item \"response_type\" must be \"code\"");
            return;
        }
        if (!challenge.error.empty())
        {
            exchange.sendError(400, challenge.error);
            return;
        }
    }

    const Attempt attempt = authenticate(exchange);
    if (!attempt.user || sendToPolicyPage(exchange, attempt))
        return;
    EmulatorState::Grant grant;
    grant.projectId = attempt.project->id;
    grant.clientId = attempt.project->clientId;
    grant.login = attempt.user->login;
    grant.redirectUri = _context.layout().url(UrlLayout::Callback);
    grant.base64Tokens = attempt.user->base64Tokens;
    grant.codeChallenge = challenge.challenge;

    Poco::URI url(grant.redirectUri);
    url.addQueryParameter("code", _context.state().issueCode(grant));
    url.addQueryParameter("state", *state);
    answer(exchange, attempt, url.toString());
}

} // namespace NimblaEmulator
