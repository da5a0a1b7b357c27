#include "socialhandler.h"

#include "codechallenge.h"
#include "redirecturipolicy.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/URI.h>

namespace NimblaEmulator {

SocialHandler::SocialHandler(const EmulatorContext& context)
    : _context(context)
{
}

std::string SocialHandler::providerLink(const HttpExchange& exchange, const std::string& projectId,
                                        const std::string& provider) const
{
    // A list asked for with an OAuth2 authorisation query leads into the code
    // flow, carrying that query along; otherwise to the plain login page.
    if (exchange.query("response_type").value_or(std::string()) != "code")
        return _context.layout().url(UrlLayout::SocialLoginPage, projectId, provider);
    Poco::URI link(_context.layout().url(UrlLayout::SocialAuthorize, projectId, provider));
    for (const char* item : {"client_id", "response_type", "state", "redirect_uri", "scope"})
    {
        if (const auto value = exchange.query(item))
            link.addQueryParameter(item, *value);
    }
    return link.toString();
}

void SocialHandler::handleProviders(HttpExchange& exchange) const
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    if (project->socialLinksStatus != 200)
    {
        exchange.sendError(project->socialLinksStatus, "Social provider list is unavailable");
        return;
    }
    Poco::JSON::Object::Ptr body = new Poco::JSON::Object;
    if (project->socialLinks == "missing")
    {
        exchange.sendJson(200, body);
        return;
    }
    Poco::JSON::Object::Ptr groups = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
    if (project->socialLinks == "groups")
    {
        for (const char* group : {"primary", "secondary", "other"})
        {
            Poco::JSON::Array::Ptr links = new Poco::JSON::Array;
            for (const auto& user : _context.seed().socialUsers)
            {
                if (user.group != group)
                    continue;
                Poco::JSON::Object::Ptr link = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
                link->set("name", user.provider);
                link->set("url", providerLink(exchange, project->id, user.provider));
                links->add(link);
            }
            groups->set(group, links);
        }
    }
    body->set("socialLinks", groups);
    exchange.sendJson(200, body);
}

bool SocialHandler::isUsableRedirect(const std::string& url)
{
    try
    {
        const Poco::URI uri(url);
        return (uri.getScheme() == "http" || uri.getScheme() == "https") && !uri.getHost().empty();
    }
    catch (const Poco::Exception&)
    {
        return false;
    }
}

void SocialHandler::handleLoginPage(HttpExchange& exchange) const
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    const std::string provider = exchange.pathParam("provider");
    const Seed::User* user = _context.seed().findSocialUser(provider);
    if (!user)
    {
        exchange.sendHtml(404, "Unknown provider", "There is no social provider named \"" + provider + "\".");
        return;
    }
    const std::string loginUrl = exchange.query("login_url").value_or(std::string());
    if (!isUsableRedirect(loginUrl))
    {
        exchange.sendHtml(400, "Bad sign-in request", "The request has no usable \"login_url\".");
        return;
    }

    Poco::URI target(loginUrl);
    if (user->behaviour != "no-token")
    {
        TokenIssuer::Options options = _context.issuer().defaults();
        options.forged = user->behaviour == "invalid-token";
        target.addQueryParameter("token", _context.issuer().issue(*user, project->id, options));
    }
    exchange.redirect(target.toString());
}

void SocialHandler::redirectWithError(HttpExchange& exchange, const std::string& redirectUri, const std::string& error,
                                      const std::string& description, const std::optional<std::string>& state)
{
    Poco::URI target(redirectUri);
    target.addQueryParameter("error", error);
    target.addQueryParameter("error_description", description);
    if (state)
        target.addQueryParameter("state", *state);
    exchange.redirect(target.toString());
}

void SocialHandler::handleAuthorize(HttpExchange& exchange) const
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    const std::string redirectUri = exchange.query("redirect_uri").value_or(std::string());
    if (!isUsableRedirect(redirectUri))
    {
        exchange.sendHtml(400, "Bad sign-in request", "The request has no usable \"redirect_uri\".");
        return;
    }
    // Never redirected to, not even with an error: that is what an open redirector does.
    if (!RedirectUriPolicy::allows(*project, redirectUri))
    {
        exchange.sendHtml(400, "Bad sign-in request",
                          "The \"redirect_uri\" is neither a loopback address nor registered for this project.");
        return;
    }
    const std::optional<std::string> state = exchange.query("state");
    const std::string provider = exchange.pathParam("provider");
    const Seed::User* user = _context.seed().findSocialUser(provider);

    if (!state || state->empty())
    {
        redirectWithError(exchange, redirectUri, "invalid_request", "state is required", state);
        return;
    }
    if (exchange.query("client_id").value_or(std::string()) != std::to_string(project->clientId))
    {
        redirectWithError(exchange, redirectUri, "unauthorized_client", "client_id does not belong to this project",
                          state);
        return;
    }
    if (exchange.query("response_type").value_or(std::string()) != "code")
    {
        redirectWithError(exchange, redirectUri, "unsupported_response_type", "response_type must be code", state);
        return;
    }
    if (exchange.query("scope").value_or(std::string()).compare(0, 7, "offline") != 0)
    {
        redirectWithError(exchange, redirectUri, "invalid_scope", "scope must start with offline", state);
        return;
    }
    const CodeChallenge::Request challenge = CodeChallenge::read(exchange, _context.state().pkceRequired());
    if (!challenge.error.empty())
    {
        redirectWithError(exchange, redirectUri, "invalid_request", challenge.error, state);
        return;
    }
    if (!user)
    {
        redirectWithError(exchange, redirectUri, "invalid_request", "unknown social provider " + provider, state);
        return;
    }

    Poco::URI target(redirectUri);
    if (user->behaviour != "no-token")
    {
        EmulatorState::Grant grant;
        grant.projectId = project->id;
        grant.clientId = project->clientId;
        grant.login = user->login;
        grant.redirectUri = redirectUri;
        grant.forgedToken = user->behaviour == "invalid-token";
        grant.base64Tokens = user->base64Tokens;
        grant.codeChallenge = challenge.challenge;
        target.addQueryParameter("code", _context.state().issueCode(grant));
    }
    target.addQueryParameter("state", *state);
    exchange.redirect(target.toString());
}

} // namespace NimblaEmulator
