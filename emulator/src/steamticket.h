#pragma once

#include <optional>
#include <string>

namespace NimblaEmulator {

// A Steam session ticket as the launcher sends it: the stand-in Steam client's
// ticket bytes in hexadecimal. Those bytes are the key of the Steam account
// they sign in, so a test picks the player by the ticket it configures.
class SteamTicket
{
public:
    // Two hexadecimal digits a byte, either case; nothing when the text is not that.
    static std::optional<std::string> accountKey(const std::string& hex);
};

} // namespace NimblaEmulator
