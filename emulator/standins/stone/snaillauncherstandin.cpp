// A stand-in for the Stone launcher's library, for machines without the
// launcher: the same entry point, SnailLauncherSDK::GetLauncher(), and an
// interface object whose virtual table has the launcher's places. Places 3
// (initialise), 4 (login information) and 15 (shut down) act; every other
// place only records that it was called.
//
// Environment, read at each call:
//   NIMBLA_STONE_NO_LAUNCHER=1     GetLauncher() returns null
//   NIMBLA_STONE_INIT_STATUS=N     what place 3 returns (default 0)
//   NIMBLA_STONE_ACCOUNT=TEXT      the account text (default "stone-player"; 132 bytes and more fill its room
//                                  without a terminating NUL)
//   NIMBLA_STONE_USER_ID=N         the user id (default 5001)
//   NIMBLA_STONE_TICKET=TEXT       the service ticket (default "stone-ticket-5001")
//   NIMBLA_STONE_CALL_LOG=FILE     appends one line per call to FILE:
//                                    "GetLauncher"
//                                    "3 <game name> <game id> reserved=<null|set> callback=<its result|null>"
//                                    "4 status=<the status on entry>"
//                                    "15"
//                                    "<place>" for any other place
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#define STANDIN_EXPORT __attribute__((visibility("default")))

namespace {

const char* environment(const char* name, const char* fallback)
{
    const char* value = std::getenv(name);
    return value ? value : fallback;
}

void record(const std::string& line)
{
    const char* path = std::getenv("NIMBLA_STONE_CALL_LOG");
    if (!path || !*path)
        return;
    std::ofstream log(path, std::ios::app);
    log << line << '\n';
}

// The login-information record: 400 bytes, texts at 4 (132 bytes of room)
// and 140, the user id at 136.
void fillLoginInfo(char* info)
{
    // The first four bytes are the launcher's own; callers must not read them.
    std::memset(info, 0x5a, 4);

    const std::string account = environment("NIMBLA_STONE_ACCOUNT", "stone-player");
    std::memset(info + 4, 0, 132);
    std::memcpy(info + 4, account.data(), account.size() < 132 ? account.size() : 132);

    const std::int32_t userId = static_cast<std::int32_t>(std::atol(environment("NIMBLA_STONE_USER_ID", "5001")));
    std::memcpy(info + 136, &userId, sizeof userId);

    const std::string ticket = environment("NIMBLA_STONE_TICKET", "stone-ticket-5001");
    std::memset(info + 140, 0, 400 - 140);
    std::memcpy(info + 140, ticket.data(), ticket.size() < 259 ? ticket.size() : 259);
}

} // namespace

// Declared apart from the library's own declaration, so that a place that
// moved in one of them shows up as a call recorded at the wrong place.
class ISnailLaunch
{
public:
    using Callback = int (*)();

    virtual void place0() { record("0"); }
    virtual void place1() { record("1"); }
    virtual void place2() { record("2"); }
    virtual std::int32_t initialize(const char* gameName, std::int32_t gameId, void* reserved, Callback callback)
    {
        const std::string result = callback ? std::to_string(callback()) : std::string("null");
        record("3 " + std::string(gameName ? gameName : "(null)") + " " + std::to_string(gameId) +
               " reserved=" + (reserved ? "set" : "null") + " callback=" + result);
        return static_cast<std::int32_t>(std::atol(environment("NIMBLA_STONE_INIT_STATUS", "0")));
    }
    virtual void getLoginInfo(void* info, std::int32_t* status)
    {
        record("4 status=" + (status ? std::to_string(*status) : std::string("null")));
        fillLoginInfo(static_cast<char*>(info));
        if (status)
            *status = 1;
    }
    virtual void place5() { record("5"); }
    virtual void place6() { record("6"); }
    virtual void place7() { record("7"); }
    virtual void place8() { record("8"); }
    virtual void place9() { record("9"); }
    virtual void place10() { record("10"); }
    virtual void place11() { record("11"); }
    virtual void place12() { record("12"); }
    virtual void place13() { record("13"); }
    virtual void place14() { record("14"); }
    virtual void shutdown() { record("15"); }
    // Beyond what the launcher is known to have: a call here is a miscount too.
    virtual void place16() { record("16"); }
    virtual void place17() { record("17"); }

protected:
    ~ISnailLaunch() = default;
};

namespace {

class StandInLauncher final : public ISnailLaunch
{
};

} // namespace

namespace SnailLauncherSDK {

STANDIN_EXPORT ISnailLaunch* GetLauncher()
{
    record("GetLauncher");
    if (std::atoi(environment("NIMBLA_STONE_NO_LAUNCHER", "0")) != 0)
        return nullptr;
    static StandInLauncher launcher;
    return &launcher;
}

} // namespace SnailLauncherSDK
