#include "playfabhandler.h"

#include "jsonbody.h"
#include "steamticket.h"

#include <Poco/JSON/Array.h>
#include <Poco/URI.h>

#include <algorithm>
#include <cctype>
#include <vector>

namespace NimblaEmulator {

namespace {

using Poco::JSON::Array;
using Poco::JSON::Object;

using Complaints = std::vector<std::pair<std::string, std::vector<std::string>>>;

// PlayFab's error wrapper; "errorDetails" only where PlayFab gives it.
void sendPlayfabError(HttpExchange& exchange, int status, const std::string& statusText, const std::string& error,
                      int errorCode, const std::string& message, const Complaints& details = {})
{
    Object::Ptr body = new Object(Poco::JSON_PRESERVE_KEY_ORDER);
    body->set("code", status);
    body->set("status", statusText);
    body->set("error", error);
    body->set("errorCode", errorCode);
    body->set("errorMessage", message);
    if (!details.empty())
    {
        // In the order the checks found them, not sorted: sorting is the client's job.
        Object::Ptr fields = new Object(Poco::JSON_PRESERVE_KEY_ORDER);
        for (const auto& field : details)
        {
            Array::Ptr texts = new Array;
            for (const auto& text : field.second)
                texts->add(text);
            fields->set(field.first, texts);
        }
        body->set("errorDetails", fields);
    }
    exchange.sendJson(status, body);
}

void sendInvalidParams(HttpExchange& exchange, const Complaints& details)
{
    sendPlayfabError(exchange, 400, "BadRequest", "InvalidParams", 1000, "Invalid input parameters", details);
}

} // namespace

PlayfabHandler::PlayfabHandler(const EmulatorContext& context)
    : _context(context)
{
}

Object::Ptr PlayfabHandler::titleRequest(HttpExchange& exchange) const
{
    if (!_context.requireProject(exchange))
        return nullptr;
    Object::Ptr body = JsonBody::parseObject(exchange.body());
    if (!body)
    {
        sendPlayfabError(exchange, 400, "BadRequest", "InvalidRequest", 1071, "The request body is not a JSON object");
        return nullptr;
    }
    const std::string titleId = JsonBody::string(body, "TitleId").value_or(std::string());
    if (titleId.empty())
    {
        sendInvalidParams(exchange, {{"TitleId", {"The TitleId field is required."}}});
        return nullptr;
    }
    if (titleId != _context.seed().playfab.titleId)
    {
        sendPlayfabError(exchange, 404, "NotFound", "InvalidTitleId", 1004, "Invalid title id " + titleId);
        return nullptr;
    }
    return body;
}

void PlayfabHandler::handleEmailLogin(HttpExchange& exchange)
{
    const Object::Ptr body = titleRequest(exchange);
    if (!body)
        return;
    const std::string email = JsonBody::string(body, "Email").value_or(std::string());
    const std::string password = JsonBody::string(body, "Password").value_or(std::string());

    Complaints complaints;
    if (password.size() < 6 || password.size() > 100)
        complaints.push_back({"Password",
                              {"The field Password must be a string with a minimum length of 6 and a maximum length of 100.",
                               "Password must be between 6 and 100 characters."}});
    if (email.find('@') == std::string::npos || email.find(' ') != std::string::npos)
        complaints.push_back({"Email", {"The Email field is not a valid e-mail address."}});
    if (!complaints.empty())
    {
        sendInvalidParams(exchange, complaints);
        return;
    }

    const Seed::PlayfabPlayer* player = _context.seed().playfab.findByEmail(email);
    if (!player || player->password != password)
    {
        sendPlayfabError(exchange, 400, "BadRequest", "InvalidEmailOrPassword", 1142, "Invalid email address or password");
        return;
    }
    answerLogin(exchange, {player->playFabId, player, false});
}

void PlayfabHandler::handleSteamLogin(HttpExchange& exchange)
{
    const Object::Ptr body = titleRequest(exchange);
    if (!body)
        return;
    const std::optional<std::string> ticket = JsonBody::string(body, "SteamTicket");
    if (!ticket || ticket->empty())
    {
        sendInvalidParams(exchange, {{"SteamTicket", {"The SteamTicket field is required."}}});
        return;
    }
    if (body->has("CreateAccount") && !JsonBody::boolean(body, "CreateAccount"))
    {
        sendInvalidParams(exchange, {{"CreateAccount", {"The CreateAccount field must be a boolean."}}});
        return;
    }
    const bool createAccount = JsonBody::boolean(body, "CreateAccount").value_or(false);
    // The stand-in Steam client's ticket is the account key's bytes.
    const std::optional<std::string> steamAccount = SteamTicket::accountKey(*ticket);
    if (!steamAccount)
    {
        sendPlayfabError(exchange, 400, "BadRequest", "InvalidSteamTicket", 1010, "Steam API AuthenticateUserTicket error");
        return;
    }

    Player player;
    if (const Seed::PlayfabPlayer* seeded = _context.seed().playfab.findBySteamAccount(*steamAccount))
        player = {seeded->playFabId, seeded, false};
    else if (const std::optional<std::string> created = _directory.createdPlayer(*steamAccount))
        player = {*created, nullptr, false};
    else if (createAccount)
        player = {_directory.createPlayer(*steamAccount), nullptr, true};
    else
    {
        sendPlayfabError(exchange, 400, "BadRequest", "AccountNotFound", 1001, "User not found");
        return;
    }
    answerLogin(exchange, player);
}

void PlayfabHandler::answerLogin(HttpExchange& exchange, const Player& player)
{
    const std::string behaviour = player.seeded ? player.seeded->behaviour : "ordinary";
    Object::Ptr answer = new Object(Poco::JSON_PRESERVE_KEY_ORDER);
    answer->set("code", 200);
    answer->set("status", "OK");
    if (behaviour != "no-data")
    {
        const long long lifetime = behaviour == "expired-ticket" ? 0 : _context.seed().playfab.ticketLifetimeSeconds;
        Object::Ptr data = new Object(Poco::JSON_PRESERVE_KEY_ORDER);
        data->set("SessionTicket", _directory.issueTicket(player.playFabId, lifetime));
        data->set("PlayFabId", player.playFabId);
        data->set("NewlyCreated", player.newlyCreated);
        answer->set("data", data);
    }
    exchange.sendJson(200, answer);
}

Seed::User PlayfabHandler::identity(const std::string& playFabId)
{
    const Seed::PlayfabPlayer* seeded = _context.seed().playfab.findById(playFabId);
    if (seeded && !seeded->user.empty())
        return *_context.seed().findAnyUser(seeded->user);
    // A player of PlayFab alone: the launcher knows it by its PlayFab id, and
    // one that came from Steam has no e-mail.
    Seed::User user;
    user.login = seeded ? seeded->email : std::string();
    user.sub = Seed::Playfab::subject(playFabId);
    const std::string steamAccount =
        seeded ? seeded->steamAccount : _directory.steamAccountOf(playFabId).value_or(std::string());
    user.username = !steamAccount.empty() ? steamAccount : user.login.substr(0, user.login.find('@'));
    user.publisherId = 12345;
    user.accessKey = "playfab-" + playFabId + "-access-key";
    user.externalAccountId = playFabId;
    // With the e-mail the Steam e-mail endpoint stored, if any.
    return _context.account(user);
}

void PlayfabHandler::handleCrossAuth(HttpExchange& exchange)
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    const std::string playFabId = exchange.query("playfab_id").value_or(std::string());
    const std::optional<std::string> owner = _directory.ticketOwner(exchange.query("session_ticket").value_or(std::string()));

    Poco::URI target(_context.layout().url(UrlLayout::Callback));
    if (!owner)
        target.addQueryParameter("error", "Unknown or expired session ticket");
    else if (*owner != playFabId)
        target.addQueryParameter("error", "Session ticket does not belong to PlayFab id " + playFabId);
    else
        target.addQueryParameter("token", _context.issuer().issue(identity(playFabId), project->id));
    exchange.redirect(target.toString());
}

} // namespace NimblaEmulator
