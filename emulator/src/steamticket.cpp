#include "steamticket.h"

#include <algorithm>
#include <cctype>

namespace NimblaEmulator {

std::optional<std::string> SteamTicket::accountKey(const std::string& hex)
{
    if (hex.empty() || hex.size() % 2 != 0 ||
        !std::all_of(hex.begin(), hex.end(), [](unsigned char c) { return std::isxdigit(c); }))
        return std::nullopt;
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

} // namespace NimblaEmulator
