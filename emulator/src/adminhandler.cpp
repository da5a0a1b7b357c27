#include "adminhandler.h"

#include "jsonbody.h"
#include "libraryconfig.h"
#include "seedloader.h"

#include <Poco/Exception.h>
#include <Poco/NumberParser.h>
#include <Poco/URI.h>

namespace NimblaEmulator {

namespace {

// Tests may paste a whole configured URL; only its path identifies the endpoint.
std::string faultPath(const std::string& given)
{
    if (given.compare(0, 7, "http://") == 0 || given.compare(0, 8, "https://") == 0)
    {
        try
        {
            return Poco::URI(given).getPath();
        }
        catch (const Poco::Exception&)
        {
            return std::string();
        }
    }
    return given.substr(0, given.find('?'));
}

} // namespace

AdminHandler::AdminHandler(const EmulatorContext& context)
    : _context(context)
{
}

void AdminHandler::handleToken(HttpExchange& exchange) const
{
    const std::string login = exchange.query("user").value_or(std::string());
    if (login.empty())
    {
        exchange.sendError(400, "Query item \"user\" is required");
        return;
    }
    const Seed::User* user = _context.seed().findAnyUser(login);
    if (!user)
    {
        exchange.sendError(404, "Unknown user \"" + login + "\"");
        return;
    }
    TokenIssuer::Options options = _context.issuer().defaults();
    if (const auto expiresIn = exchange.query("expires_in"))
    {
        Poco::Int64 seconds = 0;
        if (!Poco::NumberParser::tryParse64(*expiresIn, seconds))
        {
            exchange.sendError(400, "Query item \"expires_in\" must be an integer number of seconds");
            return;
        }
        options.lifetimeSeconds = seconds;
    }
    const std::string project = exchange.query("project").value_or(_context.seed().defaultProject);

    Poco::JSON::Object::Ptr body = new Poco::JSON::Object;
    body->set("token", _context.issuer().issue(*user, project, options));
    exchange.sendJson(200, body);
}

void AdminHandler::handleConfig(HttpExchange& exchange) const
{
    const std::string id = exchange.query("project").value_or(_context.seed().defaultProject);
    const Seed::Project* project = _context.seed().findProject(id);
    if (!project)
    {
        exchange.sendError(404, "Unknown login project \"" + id + "\"");
        return;
    }
    exchange.sendRaw(200, "application/json", LibraryConfig::toText(LibraryConfig::build(*project, _context.layout())));
}

void AdminHandler::handleAddFault(HttpExchange& exchange) const
{
    const Poco::JSON::Object::Ptr body = JsonBody::parseObject(exchange.body());
    if (!body)
    {
        exchange.sendError(400, "Request body must be a JSON object");
        return;
    }
    FaultInjector::Fault fault;
    fault.path = faultPath(JsonBody::string(body, "path").value_or(std::string()));
    if (fault.path.empty() || fault.path.front() != '/')
    {
        exchange.sendError(400, "\"path\" must be an absolute path or URL");
        return;
    }
    if (fault.path.compare(0, 7, "/admin/") == 0)
    {
        exchange.sendError(400, "Faults cannot be set on admin endpoints");
        return;
    }
    const long long delay = JsonBody::integer(body, "delayMs").value_or(0);
    const long long status = JsonBody::integer(body, "status").value_or(0);
    const long long times = JsonBody::integer(body, "times").value_or(-1);
    const long long trickle = JsonBody::integer(body, "trickleMs").value_or(0);
    if (delay < 0 || delay > 600000)
    {
        exchange.sendError(400, "\"delayMs\" must be between 0 and 600000");
        return;
    }
    if (status != 0 && (status < 100 || status > 599))
    {
        exchange.sendError(400, "\"status\" must be an HTTP status");
        return;
    }
    if (times == 0 || times < -1)
    {
        exchange.sendError(400, "\"times\" must be positive (or omitted for until cleared)");
        return;
    }
    if (trickle < 0 || trickle > 60000)
    {
        exchange.sendError(400, "\"trickleMs\" must be between 0 and 60000");
        return;
    }
    fault.delayMs = static_cast<int>(delay);
    fault.status = static_cast<int>(status);
    fault.times = static_cast<int>(times);
    fault.body = JsonBody::string(body, "body").value_or(std::string());
    fault.contentType = JsonBody::string(body, "contentType").value_or(fault.contentType);
    fault.drop = JsonBody::boolean(body, "drop").value_or(false);
    fault.trickleMs = static_cast<int>(trickle);
    fault.cutBody = JsonBody::boolean(body, "cutBody").value_or(false);
    const int bodyFaults = (fault.drop ? 1 : 0) + (fault.trickleMs > 0 ? 1 : 0) + (fault.cutBody ? 1 : 0);
    if (bodyFaults > 1)
    {
        exchange.sendError(400, "At most one of \"drop\", \"trickleMs\" and \"cutBody\" applies to an answer");
        return;
    }
    if (bodyFaults == 0 && fault.status == 0 && fault.delayMs == 0)
    {
        exchange.sendError(400, "A fault needs at least one of \"delayMs\", \"status\", \"drop\", \"trickleMs\" "
                                "or \"cutBody\"");
        return;
    }
    _context.faults().add(fault);
    exchange.sendJson(201, _context.faults().toJson());
}

void AdminHandler::handleListFaults(HttpExchange& exchange) const
{
    exchange.sendJson(200, _context.faults().toJson());
}

void AdminHandler::handleClearFaults(HttpExchange& exchange) const
{
    _context.faults().clear();
    exchange.sendEmpty(204);
}

void AdminHandler::handleListRequests(HttpExchange& exchange) const
{
    exchange.sendJson(200, _context.requests().toJson());
}

void AdminHandler::handleClearRequests(HttpExchange& exchange) const
{
    _context.requests().clear();
    exchange.sendEmpty(204);
}

void AdminHandler::handleAddOtp(HttpExchange& exchange) const
{
    const Poco::JSON::Object::Ptr body = JsonBody::parseObject(exchange.body());
    if (!body)
    {
        exchange.sendError(400, "Request body must be a JSON object");
        return;
    }
    Seed::Otp otp;
    otp.otp = JsonBody::string(body, "otp").value_or(std::string());
    otp.outcome = JsonBody::string(body, "outcome").value_or(std::string());
    otp.user = JsonBody::string(body, "user").value_or(std::string());
    otp.status = static_cast<int>(JsonBody::integer(body, "status").value_or(otp.outcome == "error" ? 500 : 200));
    if (otp.otp.empty())
    {
        exchange.sendError(400, "\"otp\" must be a non-empty string");
        return;
    }
    if (!SeedLoader::isKnownOtpOutcome(otp.outcome))
    {
        exchange.sendError(400, "Unknown \"outcome\" \"" + otp.outcome + "\"");
        return;
    }
    if (otp.outcome == "error" && (otp.status < 400 || otp.status > 599))
    {
        exchange.sendError(400, "\"status\" of an error outcome must be 400..599");
        return;
    }
    if (!otp.user.empty() && !_context.seed().findAnyUser(otp.user))
    {
        exchange.sendError(404, "Unknown user \"" + otp.user + "\"");
        return;
    }
    _context.state().addOtp(otp);
    Poco::JSON::Object::Ptr answer = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
    answer->set("otp", otp.otp);
    answer->set("outcome", otp.outcome);
    answer->set("user", otp.user);
    answer->set("status", otp.status);
    exchange.sendJson(201, answer);
}

void AdminHandler::handleRevoke(HttpExchange& exchange) const
{
    const Poco::JSON::Object::Ptr body = JsonBody::parseObject(exchange.body());
    if (!body)
    {
        exchange.sendError(400, "Request body must be a JSON object");
        return;
    }
    const std::string refreshToken = JsonBody::string(body, "refresh_token").value_or(std::string());
    const std::string user = JsonBody::string(body, "user").value_or(std::string());
    if (refreshToken.empty() == user.empty())
    {
        exchange.sendError(400, "Exactly one of \"refresh_token\" and \"user\" is required");
        return;
    }
    Poco::JSON::Object::Ptr answer = new Poco::JSON::Object;
    answer->set("revoked", static_cast<Poco::UInt64>(_context.state().revokeRefreshTokens(refreshToken, user)));
    exchange.sendJson(200, answer);
}

void AdminHandler::handleSetPkce(HttpExchange& exchange) const
{
    const Poco::JSON::Object::Ptr body = JsonBody::parseObject(exchange.body());
    const std::optional<bool> required = body ? JsonBody::boolean(body, "required") : std::nullopt;
    if (!required)
    {
        exchange.sendError(400, "The body must be {\"required\": true or false}");
        return;
    }
    _context.state().setPkceRequired(*required);
    Poco::JSON::Object::Ptr answer = new Poco::JSON::Object;
    answer->set("required", *required);
    exchange.sendJson(200, answer);
}

} // namespace NimblaEmulator
