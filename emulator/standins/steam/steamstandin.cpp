// The Steam client library as the launcher meets it on a player's machine, played
// for the tests and the demo: the same exports, calling conventions and callback
// ABI, with the client's answers chosen through environment variables read at
// SteamAPI_Init (see emulator/README.md). Like the real library it calls back
// only from inside SteamAPI_RunCallbacks, through the registered object's
// virtual table, so a session that lays its callback object out wrongly crashes
// or never hears its ticket here.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#define STANDIN_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// What the library reads of a callback object, and the Itanium order of its virtual table.
struct CallbackBase
{
    const void* vtable;
    std::uint8_t flags;
    std::int32_t callbackId;
};
static_assert(offsetof(CallbackBase, flags) == 8 && offsetof(CallbackBase, callbackId) == 12 &&
                  sizeof(CallbackBase) == 16,
              "the callback object's layout is part of the library's ABI");

struct CallbackVTable
{
    void (*run)(void* self, void* param);
    void (*runWithCall)(void* self, void* param, bool ioFailure, std::uint64_t apiCall);
    int (*callbackSizeBytes)(void* self);
};

constexpr std::uint8_t kRegistered = 0x01;
constexpr int kTicketCallbackId = 163;

struct TicketResponse
{
    std::uint32_t ticket;
    std::int32_t result;
};

struct PendingTicket
{
    std::uint32_t handle;
    int ticksLeft;
};

struct Client
{
    bool initialised = false;
    bool userPresent = true;
    std::vector<unsigned char> ticket;
    int ticketResult = 1;
    int ticks = 1;
    std::string persona;
    std::string lastInit;
    std::vector<CallbackBase*> registered;
    std::vector<PendingTicket> pending;
    std::uint32_t nextHandle = 1;
    std::vector<long long> pumpTimesMs;
    std::string fault;
};

// Interface objects are opaque to the caller; their addresses are what matters.
int userInterface;
int friendsInterface;

Client& client()
{
    static Client instance;
    return instance;
}

std::string environment(const char* name, const char* fallback)
{
    const char* value = std::getenv(name);
    return value ? std::string(value) : std::string(fallback);
}

int environmentNumber(const char* name, int fallback)
{
    const char* value = std::getenv(name);
    return value && *value ? std::atoi(value) : fallback;
}

std::vector<unsigned char> fromHex(const std::string& hex)
{
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<unsigned char>(std::strtoul(hex.substr(i, 2).c_str(), nullptr, 16)));
    return bytes;
}

void noteFault(const std::string& fault)
{
    std::fprintf(stderr, "libsteam_api stand-in: %s\n", fault.c_str());
    client().fault = fault;
}

bool start(const char* how)
{
    Client& state = client();
    state.lastInit = how;
    state.userPresent = environment("NIMBLA_STEAM_USER", "present") != "absent";
    const std::string hex = environment("NIMBLA_STEAM_TICKET_HEX", "");
    const std::string text = environment("NIMBLA_STEAM_TICKET", "steam-ivan");
    state.ticket = hex.empty() ? std::vector<unsigned char>(text.begin(), text.end()) : fromHex(hex);
    state.ticketResult = environmentNumber("NIMBLA_STEAM_TICKET_RESULT", 1);
    state.ticks = std::max(1, environmentNumber("NIMBLA_STEAM_TICKET_TICKS", 1));
    state.persona = environment("NIMBLA_STEAM_PERSONA", "Ivan the Steam player");
    state.initialised = environment("NIMBLA_STEAM_INIT", "ok") != "fail";
    return state.initialised;
}

long long nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void deliver(const TicketResponse& response)
{
    // A callback may unregister itself, or another one, while it runs.
    const std::vector<CallbackBase*> targets = client().registered;
    for (CallbackBase* target : targets)
    {
        const std::vector<CallbackBase*>& now = client().registered;
        if (target->callbackId != kTicketCallbackId || std::find(now.begin(), now.end(), target) == now.end())
            continue;
        const auto* table = static_cast<const CallbackVTable*>(target->vtable);
        const int size = table->callbackSizeBytes(target);
        if (size != static_cast<int>(sizeof(TicketResponse)))
        {
            noteFault("GetCallbackSizeBytes() answered " + std::to_string(size) + " instead of " +
                      std::to_string(sizeof(TicketResponse)));
            continue;
        }
        TicketResponse copy = response;
        table->run(target, &copy);
    }
}

} // namespace

STANDIN_EXPORT bool SteamAPI_Init()
{
    return start("SteamAPI_Init");
}

STANDIN_EXPORT int SteamAPI_InitFlat(char (*errorMessage)[1024])
{
    if (start("SteamAPI_InitFlat"))
        return 0;
    if (errorMessage)
        std::snprintf(*errorMessage, sizeof(*errorMessage), "%s", "Steam is not running (stand-in)");
    return 1;
}

STANDIN_EXPORT void SteamAPI_Shutdown()
{
    // Not counted: one shutdown ends the client for every caller.
    client().initialised = false;
    client().pending.clear();
}

STANDIN_EXPORT void SteamAPI_RunCallbacks()
{
    Client& state = client();
    state.pumpTimesMs.push_back(nowMs());
    if (!state.initialised)
        return;
    std::vector<TicketResponse> due;
    for (PendingTicket& ticket : state.pending)
    {
        if (--ticket.ticksLeft == 0)
            due.push_back({ticket.handle, state.ticketResult});
    }
    state.pending.erase(std::remove_if(state.pending.begin(), state.pending.end(),
                                       [](const PendingTicket& ticket) { return ticket.ticksLeft <= 0; }),
                        state.pending.end());
    for (const TicketResponse& response : due)
        deliver(response);
}

STANDIN_EXPORT void SteamAPI_RegisterCallback(void* callbackBase, int callbackId)
{
    auto* callback = static_cast<CallbackBase*>(callbackBase);
    if (callback->callbackId != callbackId)
    {
        noteFault("registered for callback " + std::to_string(callbackId) + " with the id " +
                  std::to_string(callback->callbackId) + " at +12");
        return;
    }
    callback->flags |= kRegistered;
    client().registered.push_back(callback);
}

STANDIN_EXPORT void SteamAPI_UnregisterCallback(void* callbackBase)
{
    auto* callback = static_cast<CallbackBase*>(callbackBase);
    std::vector<CallbackBase*>& registered = client().registered;
    const auto found = std::find(registered.begin(), registered.end(), callback);
    if (found == registered.end())
    {
        noteFault("unregistering a callback that is not registered");
        return;
    }
    registered.erase(found);
    callback->flags &= static_cast<std::uint8_t>(~kRegistered);
}

STANDIN_EXPORT int SteamAPI_GetHSteamUser()
{
    return client().initialised ? 1 : 0;
}

STANDIN_EXPORT void* SteamInternal_FindOrCreateUserInterface(int steamUser, const char* version)
{
    if (!client().initialised || steamUser != 1 || !version)
        return nullptr;
    if (std::strcmp(version, "SteamUser020") == 0)
        return client().userPresent ? &userInterface : nullptr;
    if (std::strcmp(version, "SteamFriends017") == 0)
        return &friendsInterface;
    return nullptr;
}

STANDIN_EXPORT void* SteamAPI_SteamUser_v020()
{
    return SteamInternal_FindOrCreateUserInterface(SteamAPI_GetHSteamUser(), "SteamUser020");
}

STANDIN_EXPORT void* SteamAPI_SteamFriends_v017()
{
    return SteamInternal_FindOrCreateUserInterface(SteamAPI_GetHSteamUser(), "SteamFriends017");
}

STANDIN_EXPORT unsigned SteamAPI_ISteamUser_GetAuthSessionTicket(void* self, void* ticket, int maxTicket,
                                                                 unsigned* ticketLength)
{
    Client& state = client();
    if (self != &userInterface || !state.initialised || !ticket || maxTicket < 0 || !ticketLength)
    {
        noteFault("GetAuthSessionTicket called without a live user interface or buffer");
        return 0;
    }
    const std::size_t length = std::min(state.ticket.size(), static_cast<std::size_t>(maxTicket));
    std::memcpy(ticket, state.ticket.data(), length);
    *ticketLength = static_cast<unsigned>(length);
    const std::uint32_t handle = state.nextHandle++;
    state.pending.push_back({handle, state.ticks});
    return handle;
}

STANDIN_EXPORT const char* SteamAPI_ISteamFriends_GetPersonaName(void* self)
{
    if (self != &friendsInterface || !client().initialised)
    {
        noteFault("GetPersonaName called without a live friends interface");
        return "";
    }
    return client().persona.c_str();
}

// For the tests only; the real library has nothing of the kind.

STANDIN_EXPORT int NimblaSteamStandIn_registeredCallbacks()
{
    return static_cast<int>(client().registered.size());
}

STANDIN_EXPORT int NimblaSteamStandIn_pumpCount()
{
    return static_cast<int>(client().pumpTimesMs.size());
}

STANDIN_EXPORT long long NimblaSteamStandIn_pumpTimeMs(int index)
{
    const std::vector<long long>& times = client().pumpTimesMs;
    return index >= 0 && index < static_cast<int>(times.size()) ? times[static_cast<std::size_t>(index)] : -1;
}

STANDIN_EXPORT bool NimblaSteamStandIn_initialised()
{
    return client().initialised;
}

//! The initialisation the caller used last: "SteamAPI_InitFlat" or "SteamAPI_Init".
STANDIN_EXPORT const char* NimblaSteamStandIn_lastInit()
{
    return client().lastInit.c_str();
}

//! The last misuse of the library's ABI that the stand-in saw; empty when none.
STANDIN_EXPORT const char* NimblaSteamStandIn_fault()
{
    return client().fault.c_str();
}

STANDIN_EXPORT void NimblaSteamStandIn_clearFault()
{
    client().fault.clear();
}
