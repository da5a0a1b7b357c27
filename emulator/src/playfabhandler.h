#pragma once

#include "emulatorcontext.h"
#include "playfabdirectory.h"

#include <Poco/JSON/Object.h>

#include <optional>
#include <string>

namespace NimblaEmulator {

// PlayFab's two logins, in PlayFab's own wire format ({"code", "status",
// "data"} or its error wrapper), and the launcher service's cross-auth, which
// trades a PlayFab session ticket for the launcher's JWT in a redirect.
class PlayfabHandler
{
public:
    explicit PlayfabHandler(const EmulatorContext& context);

    void handleEmailLogin(HttpExchange& exchange);
    void handleSteamLogin(HttpExchange& exchange);
    void handleCrossAuth(HttpExchange& exchange);

private:
    // Who signed in: a seeded player, or one a Steam login created.
    struct Player
    {
        std::string playFabId;
        const Seed::PlayfabPlayer* seeded = nullptr;
        bool newlyCreated = false;
    };

    // The request body, once its title is known; answers every refusal itself.
    Poco::JSON::Object::Ptr titleRequest(HttpExchange& exchange) const;
    void answerLogin(HttpExchange& exchange, const Player& player);
    Seed::User identity(const std::string& playFabId);

    const EmulatorContext& _context;
    PlayfabDirectory _directory;
};

} // namespace NimblaEmulator
