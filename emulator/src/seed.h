#pragma once

#include <Poco/JSON/Object.h>

#include <string>
#include <vector>

namespace NimblaEmulator {

// Everything the emulator knows before the first request: projects, accounts,
// one-time passwords and token settings. Read-only once loaded.
class Seed
{
public:
    struct Project
    {
        std::string id;
        int clientId = 0;
        std::string authFields;
        // Sent verbatim as the widget-settings answer, so a seed can describe
        // {"proxyLogin": ...}, an "error" object or anything else.
        Poco::JSON::Object::Ptr widgetSettings;
        int widgetSettingsStatus = 200;
        // Empty for a public client, which identifies itself by its id alone.
        std::string clientSecret;
        // Besides loopback addresses, which any client may use.
        std::vector<std::string> redirectUris;
        // The provider list's shape: "groups" (every provider in its group),
        // "empty" (an empty "socialLinks") or "missing" (no "socialLinks").
        std::string socialLinks = "groups";
        // Any other status than 200 answers an "error" object instead.
        int socialLinksStatus = 200;
    };

    struct User
    {
        std::string login;
        std::string password;
        std::string sub;
        std::string username;
        long long publisherId = 0;
        std::string accessKey;
        std::string externalAccountId;
        std::string behaviour = "ordinary";
        std::string provider; // empty for password accounts
        // The account key that a Steam account's session ticket carries; empty for other accounts.
        std::string steamTicket;
        std::string group = "primary"; // of the provider list: primary, secondary or other
        // Codes and refresh tokens in base64 ("tokenAlphabet": "base64"), holding '+', '/' and '='.
        bool base64Tokens = false;
    };

    // An account of the Mail.Ru game centre: the user id and ticket that the
    // game centre hands the launcher, and who they sign in as. Behaviours:
    // "ordinary", "login-fails" (the login answers 500), "no-token" (its
    // redirect carries no token), "target-fails" (the redirect target answers 503).
    struct MailruUser
    {
        std::string uid;
        std::string ticket;
        std::string behaviour = "ordinary";
        User account;
    };

    // An account of the Stone launcher: the user id and service ticket that
    // the launcher's library gives, and who they sign in as (with or without
    // an e-mail login). Behaviours: "ordinary", "no-token" (a redirect without a token).
    struct StoneUser
    {
        long long userId = 0;
        std::string ticket;
        std::string behaviour = "ordinary";
        User account;
    };

    struct Otp
    {
        std::string otp;
        std::string outcome;
        std::string user;
        int status = 200;
    };

    // A player of the PlayFab title, signed in with e-mail and password or
    // with a Steam account.
    struct PlayfabPlayer
    {
        std::string playFabId;
        std::string email; // empty: Steam only
        std::string password;
        // The key a Steam session ticket carries; empty: no Steam account linked.
        std::string steamAccount;
        // The launcher account the cross-auth signs in; empty: the player's own identity.
        std::string user;
        std::string behaviour = "ordinary"; // "ordinary", "no-data" or "expired-ticket"
    };

    struct Playfab
    {
        // Also the first label of the PlayFab hosts, TITLE.0.0.1: a hexadecimal spelling of 127.
        std::string titleId = "0x7F";
        long long ticketLifetimeSeconds = 86400;
        std::vector<PlayfabPlayer> players;

        const PlayfabPlayer* findByEmail(const std::string& email) const;
        const PlayfabPlayer* findBySteamAccount(const std::string& steamAccount) const;
        const PlayfabPlayer* findById(const std::string& playFabId) const;
        // The "sub" of a player that the cross-auth signs in with its own identity.
        static std::string subject(const std::string& playFabId);
        // The seeded player with its own identity of that "sub", linked to a Steam account.
        const PlayfabPlayer* findSteamPlayerBySubject(const std::string& sub) const;
    };

    std::string defaultProject;
    std::string tokenSecret;
    long long tokenLifetimeSeconds = 3600;
    std::vector<Project> projects;
    std::vector<User> users;
    std::vector<User> socialUsers;
    // Steam accounts: "login" is the account's e-mail, empty for an account without one.
    std::vector<User> steamUsers;
    std::vector<MailruUser> mailruUsers;
    std::vector<StoneUser> stoneUsers;
    std::vector<Otp> otps;
    Playfab playfab;

    const Project* findProject(const std::string& id) const;
    // Accepts the e-mail login or the user name, as the login form does.
    const User* findUser(const std::string& loginOrName) const;
    const User* findSocialUser(const std::string& provider) const;
    const User* findSteamUser(const std::string& ticket) const;
    // Password accounts first, then social accounts, then Steam accounts (also by "sub").
    const User* findAnyUser(const std::string& loginOrName) const;
    const MailruUser* findMailruUser(const std::string& uid) const;
    const StoneUser* findStoneUser(long long userId) const;
    const StoneUser* findStoneUserBySub(const std::string& sub) const;
};

} // namespace NimblaEmulator
