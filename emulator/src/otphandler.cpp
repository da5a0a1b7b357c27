#include "otphandler.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Object.h>
#include <Poco/URI.h>

namespace NimblaEmulator {

OtpHandler::OtpHandler(const EmulatorContext& context)
    : _context(context)
{
}

std::vector<std::string> OtpHandler::candidates(const HttpExchange& exchange)
{
    std::vector<std::string> result;
    const std::string& raw = exchange.rawQuery();
    const std::string marker = "otp=";
    std::size_t at = raw.compare(0, marker.size(), marker) == 0 ? 0 : raw.find("&" + marker);
    if (at != std::string::npos)
    {
        const std::string remainder = raw.substr(raw.find(marker, at) + marker.size());
        try
        {
            std::string decoded;
            Poco::URI::decode(remainder, decoded);
            result.push_back(decoded);
        }
        catch (const Poco::Exception&)
        {
            // A stray '%' leaves only the undecoded form.
        }
        result.push_back(remainder);
    }
    if (const auto parsed = exchange.query("otp"))
        result.push_back(*parsed);
    return result;
}

void OtpHandler::handle(HttpExchange& exchange) const
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    const std::optional<Seed::Otp> otp = _context.state().takeOtp(candidates(exchange));
    if (!otp)
    {
        exchange.sendError(404, "Unknown or already used one-time password");
        return;
    }
    if (otp->outcome == "not-json")
    {
        exchange.sendRaw(200, "text/plain", "one-time password accepted, but this answer is not JSON");
        return;
    }
    if (otp->outcome == "error")
    {
        exchange.sendError(otp->status, "One-time password exchange failed");
        return;
    }

    const Seed& seed = _context.seed();
    const Seed::User* user = otp->user.empty() ? nullptr : seed.findAnyUser(otp->user);
    if (!user && !seed.users.empty())
        user = &seed.users.front();
    if (!user && !seed.socialUsers.empty())
        user = &seed.socialUsers.front();
    if (!user)
    {
        exchange.sendError(500, "The seed has no user to issue a token for");
        return;
    }

    const bool wantsJwt = otp->outcome == "jwt" || otp->outcome == "jwt-and-oauth2";
    const bool wantsAccess = otp->outcome != "jwt";
    const bool wantsRefresh = otp->outcome == "oauth2" || otp->outcome == "jwt-and-oauth2";

    Poco::JSON::Object::Ptr answer = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
    if (wantsJwt)
        answer->set("jwt", _context.issuer().issue(*user, project->id));
    if (wantsAccess)
        answer->set("access_token", _context.issuer().issue(*user, project->id));
    if (wantsRefresh)
    {
        EmulatorState::Grant grant;
        grant.projectId = project->id;
        grant.clientId = project->clientId;
        grant.login = user->login;
        grant.redirectUri = _context.layout().url(UrlLayout::Callback);
        answer->set("refresh_token", _context.state().issueRefreshToken(grant));
    }
    exchange.sendJson(200, answer);
}

} // namespace NimblaEmulator
