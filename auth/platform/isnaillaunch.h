#pragma once

#include <cstddef>
#include <cstdint>

/*
 * The interface object of the Stone launcher's library, as its entry
 * SnailLauncherSDK::GetLauncher() returns it. The library has no public
 * header: what is known is the place of each operation used in the virtual
 * table, so this declaration keeps the places. Plain virtual functions only,
 * in table order, with no virtual destructor and no overloads: MSVC, mingw
 * and the Itanium ABI all lay out such a table alike. The places in between
 * are declared only so that the used ones line up, and are never called.
 *
 * In the global namespace: it is the launcher's type, and UBSan's check of
 * the dynamic type matches it by name against the object the library returns.
 */
class ISnailLaunch
{
public:
    //! What the launcher calls back; its arguments are not known, and ours ignores them.
    using Callback = int (*)();

    //! The login-information record that place 4 fills.
    static constexpr std::size_t LoginInfoSize = 400;
    static constexpr std::size_t AccountOffset = 4;
    static constexpr std::size_t AccountSize = 132;
    static constexpr std::size_t UserIdOffset = 136;
    static constexpr std::size_t TicketOffset = 140;

    virtual void unused0() = 0;
    virtual void unused1() = 0;
    virtual void unused2() = 0;
    //! Place 3: prepares the launcher for a game; 0 and 102 mean success, anything else is an error code.
    virtual std::int32_t initialize(const char *gameName, std::int32_t gameId, void *reserved, Callback callback) = 0;
    //! Place 4: fills \a record, of LoginInfoSize bytes, with the signed-in player's login information.
    virtual void getLoginInfo(void *record, std::int32_t *status) = 0;
    virtual void unused5() = 0;
    virtual void unused6() = 0;
    virtual void unused7() = 0;
    virtual void unused8() = 0;
    virtual void unused9() = 0;
    virtual void unused10() = 0;
    virtual void unused11() = 0;
    virtual void unused12() = 0;
    virtual void unused13() = 0;
    virtual void unused14() = 0;
    //! Place 15: shuts the launcher's library down.
    virtual void shutdown() = 0;

protected:
    // Never deleted through this type: the object belongs to the launcher's library.
    ~ISnailLaunch() = default;
};
