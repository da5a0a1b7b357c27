#include "seed.h"

#include <algorithm>

namespace NimblaEmulator {

namespace {

const Seed::User* findByLogin(const std::vector<Seed::User>& users, const std::string& loginOrName)
{
    if (loginOrName.empty())
        return nullptr;
    for (const auto& user : users)
    {
        if (user.login == loginOrName || user.username == loginOrName)
            return &user;
    }
    return nullptr;
}

} // namespace

const Seed::Project* Seed::findProject(const std::string& id) const
{
    for (const auto& project : projects)
    {
        if (project.id == id)
            return &project;
    }
    return nullptr;
}

const Seed::User* Seed::findUser(const std::string& loginOrName) const
{
    return findByLogin(users, loginOrName);
}

const Seed::User* Seed::findSocialUser(const std::string& provider) const
{
    for (const auto& user : socialUsers)
    {
        if (user.provider == provider)
            return &user;
    }
    return nullptr;
}

const Seed::User* Seed::findSteamUser(const std::string& ticket) const
{
    for (const auto& user : steamUsers)
    {
        if (user.steamTicket == ticket)
            return &user;
    }
    return nullptr;
}

const Seed::PlayfabPlayer* Seed::Playfab::findByEmail(const std::string& email) const
{
    const auto found = std::find_if(players.begin(), players.end(), [&](const PlayfabPlayer& player) {
        return !email.empty() && player.email == email;
    });
    return found == players.end() ? nullptr : &*found;
}

const Seed::PlayfabPlayer* Seed::Playfab::findBySteamAccount(const std::string& steamAccount) const
{
    const auto found = std::find_if(players.begin(), players.end(), [&](const PlayfabPlayer& player) {
        return !steamAccount.empty() && player.steamAccount == steamAccount;
    });
    return found == players.end() ? nullptr : &*found;
}

const Seed::PlayfabPlayer* Seed::Playfab::findById(const std::string& playFabId) const
{
    const auto found = std::find_if(players.begin(), players.end(),
                                    [&](const PlayfabPlayer& player) { return player.playFabId == playFabId; });
    return found == players.end() ? nullptr : &*found;
}

std::string Seed::Playfab::subject(const std::string& playFabId)
{
    return "playfab-" + playFabId;
}

const Seed::PlayfabPlayer* Seed::Playfab::findSteamPlayerBySubject(const std::string& sub) const
{
    const auto found = std::find_if(players.begin(), players.end(), [&](const PlayfabPlayer& player) {
        return !player.steamAccount.empty() && player.user.empty() && subject(player.playFabId) == sub;
    });
    return found == players.end() ? nullptr : &*found;
}

const Seed::User* Seed::findAnyUser(const std::string& loginOrName) const
{
    if (const User* user = findUser(loginOrName))
        return user;
    if (const User* user = findByLogin(socialUsers, loginOrName))
        return user;
    if (const User* user = findByLogin(steamUsers, loginOrName))
        return user;
    // A Steam account without an e-mail is known by its subject alone.
    for (const auto& user : steamUsers)
    {
        if (!loginOrName.empty() && user.sub == loginOrName)
            return &user;
    }
    return nullptr;
}

const Seed::MailruUser* Seed::findMailruUser(const std::string& uid) const
{
    for (const auto& user : mailruUsers)
    {
        if (user.uid == uid)
            return &user;
    }
    return nullptr;
}

const Seed::StoneUser* Seed::findStoneUser(long long userId) const
{
    for (const auto& user : stoneUsers)
    {
        if (user.userId == userId)
            return &user;
    }
    return nullptr;
}

const Seed::StoneUser* Seed::findStoneUserBySub(const std::string& sub) const
{
    for (const auto& user : stoneUsers)
    {
        if (user.account.sub == sub)
            return &user;
    }
    return nullptr;
}

} // namespace NimblaEmulator
