#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace NimblaEmulator {

// What PlayFab learns while the emulator runs: the session tickets it issued
// and the players that a Steam login created. Kept in memory only, as PlayFab
// sessions are short-lived. Thread-safe.
class PlayfabDirectory
{
public:
    // A ticket that stays valid for \a lifetimeSeconds (zero or less: already expired).
    std::string issueTicket(const std::string& playFabId, long long lifetimeSeconds);
    // The PlayFab id a ticket was issued to, while it is valid.
    std::optional<std::string> ticketOwner(const std::string& ticket);

    // The PlayFab id of a player that an earlier Steam login created.
    std::optional<std::string> createdPlayer(const std::string& steamAccount);
    // Creates the player of \a steamAccount, or returns the one created before.
    std::string createPlayer(const std::string& steamAccount);
    // The Steam account of a created player.
    std::optional<std::string> steamAccountOf(const std::string& playFabId);

private:
    struct Ticket
    {
        std::string playFabId;
        std::chrono::steady_clock::time_point expires;
    };

    std::mutex _mutex;
    std::map<std::string, Ticket> _tickets;
    std::map<std::string, std::string> _createdBySteamAccount;
    std::map<std::string, std::string> _steamAccountById;
};

} // namespace NimblaEmulator
