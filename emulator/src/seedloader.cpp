#include "seedloader.h"

#include "defaultseed.h"
#include "seederror.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Parser.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

namespace NimblaEmulator {

namespace {

using Poco::JSON::Array;
using Poco::JSON::Object;

const std::set<std::string> kUserBehaviours = {
    "ordinary", "wrong-password", "captcha", "privacy-policy", "error-in-success"};
const std::set<std::string> kSocialBehaviours = {"ordinary", "invalid-token", "no-token"};
const std::set<std::string> kSteamBehaviours = {"ordinary", "no-token", "wrong-state", "no-state"};
const std::set<std::string> kSocialLinkShapes = {"groups", "empty", "missing"};
const std::set<std::string> kSocialGroups = {"primary", "secondary", "other"};
const std::set<std::string> kMailruBehaviours = {"ordinary", "login-fails", "no-token", "target-fails"};
const std::set<std::string> kStoneBehaviours = {"ordinary", "no-token"};
const std::set<std::string> kOtpOutcomes = {
    "jwt", "oauth2", "access-token-only", "jwt-and-oauth2", "not-json", "error"};

std::string stringField(const Object::Ptr& object, const std::string& key, const std::string& where,
                        bool required = true, const std::string& fallback = std::string())
{
    if (!object->has(key) || object->isNull(key))
    {
        if (required)
            throw SeedError(where + ": missing \"" + key + "\"");
        return fallback;
    }
    const Poco::Dynamic::Var value = object->get(key);
    if (!value.isString())
        throw SeedError(where + ": \"" + key + "\" must be a string");
    return value.extract<std::string>();
}

long long integerField(const Object::Ptr& object, const std::string& key, const std::string& where,
                       bool required, long long fallback)
{
    if (!object->has(key) || object->isNull(key))
    {
        if (required)
            throw SeedError(where + ": missing \"" + key + "\"");
        return fallback;
    }
    const Poco::Dynamic::Var value = object->get(key);
    if (!value.isInteger())
        throw SeedError(where + ": \"" + key + "\" must be an integer");
    return value.convert<Poco::Int64>();
}

Array::Ptr arrayField(const Object::Ptr& object, const std::string& key, bool required)
{
    if (!object->has(key))
    {
        if (required)
            throw SeedError("missing \"" + key + "\" array");
        return new Array;
    }
    Array::Ptr array = object->getArray(key);
    if (!array)
        throw SeedError("\"" + key + "\" must be an array");
    return array;
}

Object::Ptr objectAt(const Array::Ptr& array, std::size_t index, const std::string& where)
{
    Object::Ptr object = array->getObject(static_cast<unsigned>(index));
    if (!object)
        throw SeedError(where + ": must be an object");
    return object;
}

std::string entryName(const std::string& list, std::size_t index)
{
    return list + "[" + std::to_string(index) + "]";
}

Seed::Project readProject(const Object::Ptr& object, const std::string& where)
{
    Seed::Project project;
    project.id = stringField(object, "id", where);
    if (project.id.empty() || project.id.find_first_of("/?#%& ") != std::string::npos)
        throw SeedError(where + ": \"id\" must be non-empty and URL-safe");
    const long long clientId = integerField(object, "clientId", where, true, 0);
    if (clientId <= 0 || clientId > 0x7fffffff)
        throw SeedError(where + ": \"clientId\" must be a positive 32-bit integer");
    project.clientId = static_cast<int>(clientId);
    project.authFields = stringField(object, "authFields", where, false);
    project.widgetSettings = object->has("widgetSettings") ? object->getObject("widgetSettings") : nullptr;
    if (!project.widgetSettings)
    {
        project.widgetSettings = new Object;
        project.widgetSettings->set("proxyLogin", false);
    }
    project.widgetSettingsStatus =
        static_cast<int>(integerField(object, "widgetSettingsStatus", where, false, 200));
    if (project.widgetSettingsStatus < 200 || project.widgetSettingsStatus > 599)
        throw SeedError(where + ": \"widgetSettingsStatus\" must be an HTTP status");
    project.clientSecret = stringField(object, "clientSecret", where, false);
    if (object->has("redirectUris"))
    {
        const Array::Ptr uris = object->getArray("redirectUris");
        if (!uris)
            throw SeedError(where + ": \"redirectUris\" must be an array");
        for (std::size_t i = 0; i < uris->size(); ++i)
        {
            const Poco::Dynamic::Var uri = uris->get(static_cast<unsigned>(i));
            if (!uri.isString() || uri.extract<std::string>().find('#') != std::string::npos)
                throw SeedError(where + ": \"redirectUris\" must hold strings without a fragment");
            project.redirectUris.push_back(uri.extract<std::string>());
        }
    }
    project.socialLinks = stringField(object, "socialLinks", where, false, project.socialLinks);
    if (kSocialLinkShapes.count(project.socialLinks) == 0)
        throw SeedError(where + ": unknown \"socialLinks\" \"" + project.socialLinks + "\"");
    project.socialLinksStatus = static_cast<int>(integerField(object, "socialLinksStatus", where, false, 200));
    if (project.socialLinksStatus < 200 || project.socialLinksStatus > 599)
        throw SeedError(where + ": \"socialLinksStatus\" must be an HTTP status");
    return project;
}

// Who an account signs in as: the claims of its tokens.
Seed::User readIdentity(const Object::Ptr& object, const std::string& where)
{
    Seed::User user;
    user.login = stringField(object, "login", where);
    user.sub = stringField(object, "sub", where, false, user.login);
    if (user.sub.empty())
        throw SeedError(where + ": an account without \"login\" needs a \"sub\"");
    user.username = stringField(object, "username", where, false);
    user.publisherId = integerField(object, "publisherId", where, false, 0);
    user.accessKey = stringField(object, "accessKey", where, false);
    user.externalAccountId = stringField(object, "externalAccountId", where, false);
    return user;
}

// Whether the codes and refresh tokens issued to an account are in base64 rather than hex.
bool base64TokensField(const Object::Ptr& object, const std::string& where)
{
    const std::string alphabet = stringField(object, "tokenAlphabet", where, false, "hex");
    if (alphabet != "hex" && alphabet != "base64")
        throw SeedError(where + ": \"tokenAlphabet\" must be \"hex\" or \"base64\"");
    return alphabet == "base64";
}

std::string behaviourField(const Object::Ptr& object, const std::string& where, const std::set<std::string>& allowed)
{
    const std::string behaviour = stringField(object, "behaviour", where, false, "ordinary");
    if (allowed.count(behaviour) == 0)
        throw SeedError(where + ": unknown \"behaviour\" \"" + behaviour + "\"");
    return behaviour;
}

Seed::MailruUser readMailruUser(const Object::Ptr& object, const std::string& where)
{
    Seed::MailruUser user;
    user.uid = stringField(object, "uid", where);
    if (user.uid.empty())
        throw SeedError(where + ": \"uid\" must not be empty");
    user.ticket = stringField(object, "ticket", where);
    user.behaviour = behaviourField(object, where, kMailruBehaviours);
    user.account = readIdentity(object, where);
    return user;
}

Seed::StoneUser readStoneUser(const Object::Ptr& object, const std::string& where)
{
    Seed::StoneUser user;
    user.userId = integerField(object, "userId", where, true, 0);
    if (user.userId < -0x7fffffffLL - 1 || user.userId > 0x7fffffff)
        throw SeedError(where + ": \"userId\" must be a 32-bit integer");
    user.ticket = stringField(object, "ticket", where);
    user.behaviour = behaviourField(object, where, kStoneBehaviours);
    user.account = readIdentity(object, where);
    return user;
}

Seed::User readUser(const Object::Ptr& object, const std::string& where, bool social)
{
    Seed::User user = readIdentity(object, where);
    user.password = stringField(object, "password", where, !social);
    user.behaviour = behaviourField(object, where, social ? kSocialBehaviours : kUserBehaviours);
    user.base64Tokens = base64TokensField(object, where);
    if (social)
    {
        user.provider = stringField(object, "provider", where);
        if (user.provider.empty() || user.provider.find_first_of("/?#%& ") != std::string::npos)
            throw SeedError(where + ": \"provider\" must be non-empty and URL-safe");
        user.group = stringField(object, "group", where, false, user.group);
        if (kSocialGroups.count(user.group) == 0)
            throw SeedError(where + ": unknown \"group\" \"" + user.group + "\"");
    }
    return user;
}

Seed::User readSteamUser(const Object::Ptr& object, const std::string& where)
{
    Seed::User user;
    user.steamTicket = stringField(object, "ticket", where);
    if (user.steamTicket.empty())
        throw SeedError(where + ": \"ticket\" must not be empty");
    user.login = stringField(object, "login", where, false);
    user.sub = stringField(object, "sub", where, false, "steam-" + user.steamTicket);
    user.username = stringField(object, "username", where, false);
    user.publisherId = integerField(object, "publisherId", where, false, 0);
    user.accessKey = stringField(object, "accessKey", where, false);
    user.externalAccountId = stringField(object, "externalAccountId", where, false);
    user.behaviour = stringField(object, "behaviour", where, false, "ordinary");
    if (kSteamBehaviours.count(user.behaviour) == 0)
        throw SeedError(where + ": unknown \"behaviour\" \"" + user.behaviour + "\"");
    user.base64Tokens = base64TokensField(object, where);
    return user;
}

Seed::Otp readOtp(const Object::Ptr& object, const std::string& where)
{
    Seed::Otp otp;
    otp.otp = stringField(object, "otp", where);
    if (otp.otp.empty())
        throw SeedError(where + ": \"otp\" must not be empty");
    otp.outcome = stringField(object, "outcome", where);
    if (!SeedLoader::isKnownOtpOutcome(otp.outcome))
        throw SeedError(where + ": unknown \"outcome\" \"" + otp.outcome + "\"");
    otp.user = stringField(object, "user", where, false);
    otp.status = static_cast<int>(integerField(object, "status", where, otp.outcome == "error", 200));
    if (otp.outcome == "error" && (otp.status < 400 || otp.status > 599))
        throw SeedError(where + ": \"status\" of an error outcome must be 400..599");
    return otp;
}

// The title id is also the first label of the PlayFab hosts, TITLE.0.0.1, so
// it has to be a number worth 127 for that host to reach 127.0.0.1 without a
// resolver: "0x" and hexadecimal digits, which Qt's URL parser reads as such.
bool isLoopbackFirstLabel(const std::string& label)
{
    if (label.size() < 3 || label.size() > 18 || label[0] != '0' || (label[1] != 'x' && label[1] != 'X'))
        return false;
    const std::string digits = label.substr(2);
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return false;
    return std::stoull(digits, nullptr, 16) == 0x7FULL;
}

const std::set<std::string> kPlayfabBehaviours = {"ordinary", "no-data", "expired-ticket"};

Seed::Playfab readPlayfab(const Object::Ptr& object)
{
    Seed::Playfab playfab;
    playfab.titleId = stringField(object, "titleId", "playfab", false, playfab.titleId);
    if (!isLoopbackFirstLabel(playfab.titleId))
        throw SeedError("playfab: \"titleId\" must be \"0x\" and hexadecimal digits worth 7F");
    playfab.ticketLifetimeSeconds =
        integerField(object, "ticketLifetimeSeconds", "playfab", false, playfab.ticketLifetimeSeconds);
    const Array::Ptr players = arrayField(object, "players", false);
    for (std::size_t i = 0; i < players->size(); ++i)
    {
        const std::string where = entryName("playfab.players", i);
        const Object::Ptr entry = objectAt(players, i, where);
        Seed::PlayfabPlayer player;
        player.playFabId = stringField(entry, "playFabId", where);
        if (player.playFabId.empty() || player.playFabId.find_first_of("/?#%&= ") != std::string::npos)
            throw SeedError(where + ": \"playFabId\" must be non-empty and URL-safe");
        player.email = stringField(entry, "email", where, false);
        player.password = stringField(entry, "password", where, !player.email.empty());
        player.steamAccount = stringField(entry, "steamAccount", where, false);
        player.user = stringField(entry, "user", where, false);
        player.behaviour = stringField(entry, "behaviour", where, false, player.behaviour);
        if (kPlayfabBehaviours.count(player.behaviour) == 0)
            throw SeedError(where + ": unknown \"behaviour\" \"" + player.behaviour + "\"");
        if (player.email.empty() && player.steamAccount.empty())
            throw SeedError(where + ": needs an \"email\" or a \"steamAccount\"");
        playfab.players.push_back(player);
    }
    return playfab;
}

void checkUnique(const std::vector<std::string>& names, const std::string& what)
{
    std::set<std::string> seen;
    for (const auto& name : names)
    {
        if (!seen.insert(name).second)
            throw SeedError("duplicate " + what + " \"" + name + "\"");
    }
}

} // namespace

Seed SeedLoader::fromText(const std::string& text)
{
    Object::Ptr root;
    try
    {
        Poco::JSON::Parser parser;
        root = parser.parse(text).extract<Object::Ptr>();
    }
    catch (const Poco::Exception& e)
    {
        throw SeedError("not valid JSON: " + e.displayText());
    }
    catch (const std::exception&)
    {
        throw SeedError("the top level must be a JSON object");
    }
    if (!root)
        throw SeedError("the top level must be a JSON object");

    Seed seed;
    try
    {
        if (Object::Ptr tokens = root->getObject("tokens"))
        {
            seed.tokenSecret = stringField(tokens, "secret", "tokens", false, seed.tokenSecret);
            seed.tokenLifetimeSeconds =
                integerField(tokens, "lifetimeSeconds", "tokens", false, seed.tokenLifetimeSeconds);
        }
        if (seed.tokenSecret.empty())
            seed.tokenSecret = "nimbla-emulator-secret";

        const Array::Ptr projects = arrayField(root, "projects", true);
        for (std::size_t i = 0; i < projects->size(); ++i)
            seed.projects.push_back(readProject(objectAt(projects, i, entryName("projects", i)),
                                                entryName("projects", i)));
        if (seed.projects.empty())
            throw SeedError("\"projects\" must hold at least one project");

        const Array::Ptr users = arrayField(root, "users", false);
        for (std::size_t i = 0; i < users->size(); ++i)
            seed.users.push_back(readUser(objectAt(users, i, entryName("users", i)), entryName("users", i), false));

        const Array::Ptr socialUsers = arrayField(root, "socialUsers", false);
        for (std::size_t i = 0; i < socialUsers->size(); ++i)
            seed.socialUsers.push_back(readUser(objectAt(socialUsers, i, entryName("socialUsers", i)),
                                                entryName("socialUsers", i), true));

        const Array::Ptr steamUsers = arrayField(root, "steamUsers", false);
        for (std::size_t i = 0; i < steamUsers->size(); ++i)
            seed.steamUsers.push_back(
                readSteamUser(objectAt(steamUsers, i, entryName("steamUsers", i)), entryName("steamUsers", i)));
        const Array::Ptr mailruUsers = arrayField(root, "mailruUsers", false);
        for (std::size_t i = 0; i < mailruUsers->size(); ++i)
            seed.mailruUsers.push_back(readMailruUser(objectAt(mailruUsers, i, entryName("mailruUsers", i)),
                                                      entryName("mailruUsers", i)));

        const Array::Ptr stoneUsers = arrayField(root, "stoneUsers", false);
        for (std::size_t i = 0; i < stoneUsers->size(); ++i)
            seed.stoneUsers.push_back(readStoneUser(objectAt(stoneUsers, i, entryName("stoneUsers", i)),
                                                    entryName("stoneUsers", i)));

        const Array::Ptr otps = arrayField(root, "otps", false);
        for (std::size_t i = 0; i < otps->size(); ++i)
            seed.otps.push_back(readOtp(objectAt(otps, i, entryName("otps", i)), entryName("otps", i)));

        if (root->has("playfab"))
        {
            const Object::Ptr playfab = root->getObject("playfab");
            if (!playfab)
                throw SeedError("\"playfab\" must be an object");
            seed.playfab = readPlayfab(playfab);
        }

        seed.defaultProject = stringField(root, "defaultProject", "seed", false, seed.projects.front().id);
    }
    catch (const Poco::Exception& e)
    {
        throw SeedError("unexpected shape: " + e.displayText());
    }

    std::vector<std::string> names;
    for (const auto& project : seed.projects)
        names.push_back(project.id);
    checkUnique(names, "project id");
    names.clear();
    for (const auto& project : seed.projects)
        names.push_back(std::to_string(project.clientId));
    checkUnique(names, "project clientId");
    names.clear();
    for (const auto& user : seed.users)
        names.push_back(user.login);
    for (const auto& user : seed.socialUsers)
        names.push_back(user.login);
    for (const auto& user : seed.steamUsers)
    {
        if (!user.login.empty())
            names.push_back(user.login);
    }
    checkUnique(names, "user login");
    names.clear();
    for (const auto& user : seed.steamUsers)
        names.push_back(user.steamTicket);
    checkUnique(names, "Steam ticket");
    names.clear();
    for (const auto& user : seed.steamUsers)
        names.push_back(user.sub);
    checkUnique(names, "Steam account sub");
    names.clear();
    for (const auto& user : seed.socialUsers)
        names.push_back(user.provider);
    checkUnique(names, "social provider");
    names.clear();
    for (const auto& otp : seed.otps)
        names.push_back(otp.otp);
    checkUnique(names, "otp");
    names.clear();
    for (const auto& user : seed.mailruUsers)
        names.push_back(user.uid);
    checkUnique(names, "Mail.Ru uid");
    names.clear();
    for (const auto& user : seed.stoneUsers)
        names.push_back(std::to_string(user.userId));
    checkUnique(names, "Stone userId");
    names.clear();
    // A set e-mail address is kept by "sub".
    for (const auto& user : seed.stoneUsers)
        names.push_back(user.account.sub);
    checkUnique(names, "Stone account sub");

    std::vector<std::string> playFabIds, emails, steamAccounts;
    for (const auto& player : seed.playfab.players)
    {
        playFabIds.push_back(player.playFabId);
        if (!player.email.empty())
            emails.push_back(player.email);
        if (!player.steamAccount.empty())
            steamAccounts.push_back(player.steamAccount);
    }
    checkUnique(playFabIds, "PlayFab id");
    checkUnique(emails, "PlayFab e-mail");
    checkUnique(steamAccounts, "PlayFab Steam account");
    for (const auto& player : seed.playfab.players)
    {
        if (!player.user.empty() && !seed.findAnyUser(player.user))
            throw SeedError("PlayFab player \"" + player.playFabId + "\" names unknown user \"" + player.user + "\"");
    }

    if (!seed.findProject(seed.defaultProject))
        throw SeedError("\"defaultProject\" \"" + seed.defaultProject + "\" is not among the projects");
    for (const auto& otp : seed.otps)
    {
        if (!otp.user.empty() && !seed.findAnyUser(otp.user))
            throw SeedError("otp \"" + otp.otp + "\" names unknown user \"" + otp.user + "\"");
    }
    return seed;
}

Seed SeedLoader::fromFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw SeedError("cannot be read");
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad())
        throw SeedError("cannot be read");
    return fromText(text.str());
}

Seed SeedLoader::builtIn()
{
    return fromText(defaultSeedText());
}

bool SeedLoader::isKnownOtpOutcome(const std::string& outcome)
{
    return kOtpOutcomes.count(outcome) != 0;
}

} // namespace NimblaEmulator
