#include "playfabdirectory.h"

#include <Poco/Base64Encoder.h>
#include <Poco/RandomStream.h>

#include <iomanip>
#include <sstream>

namespace NimblaEmulator {

namespace {

std::string randomBytes(std::size_t count)
{
    Poco::RandomInputStream random;
    std::string bytes(count, '\0');
    random.read(&bytes[0], static_cast<std::streamsize>(count));
    return bytes;
}

} // namespace

std::string PlayfabDirectory::issueTicket(const std::string& playFabId, long long lifetimeSeconds)
{
    // PlayFab's tickets end in base64 with its padding, so "+", "/" and "="
    // turn up in them and a client has to percent-encode a ticket it passes on.
    std::ostringstream ticket;
    ticket << playFabId << "-";
    for (const unsigned char byte : randomBytes(8))
        ticket << std::uppercase << std::hex << std::setw(2) << std::setfill('0') << static_cast<int>(byte);
    ticket << "-";
    {
        Poco::Base64Encoder encoder(ticket);
        encoder << randomBytes(16);
        encoder.close();
    }
    Ticket entry{playFabId, std::chrono::steady_clock::now() + std::chrono::seconds(lifetimeSeconds)};
    std::lock_guard<std::mutex> lock(_mutex);
    _tickets[ticket.str()] = entry;
    return ticket.str();
}

std::optional<std::string> PlayfabDirectory::ticketOwner(const std::string& ticket)
{
    std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _tickets.find(ticket);
    if (found == _tickets.end() || found->second.expires <= std::chrono::steady_clock::now())
        return std::nullopt;
    return found->second.playFabId;
}

std::optional<std::string> PlayfabDirectory::createdPlayer(const std::string& steamAccount)
{
    std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _createdBySteamAccount.find(steamAccount);
    if (found == _createdBySteamAccount.end())
        return std::nullopt;
    return found->second;
}

std::string PlayfabDirectory::createPlayer(const std::string& steamAccount)
{
    std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _createdBySteamAccount.find(steamAccount);
    if (found != _createdBySteamAccount.end())
        return found->second;
    std::ostringstream id;
    for (const unsigned char byte : randomBytes(8))
        id << std::uppercase << std::hex << std::setw(2) << std::setfill('0') << static_cast<int>(byte);
    _createdBySteamAccount[steamAccount] = id.str();
    _steamAccountById[id.str()] = steamAccount;
    return id.str();
}

std::optional<std::string> PlayfabDirectory::steamAccountOf(const std::string& playFabId)
{
    std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _steamAccountById.find(playFabId);
    if (found == _steamAccountById.end())
        return std::nullopt;
    return found->second;
}

} // namespace NimblaEmulator
