#pragma once

#include <cstdint>

namespace NimblaSDK {

class SteamClient;

/*
 * A callback object of the Steam client library. The library reads the first
 * 16 bytes as its own callback base: the virtual table at +0, the flags at +8
 * and the callback id at +12; it calls the table's Run(param) from inside
 * SteamAPI_RunCallbacks. What follows belongs to us: the receiver that Run
 * hands the parameter to.
 *
 * The table is built here, from plain functions, in the slot order of the
 * platform's C++ ABI (steamclient_unix.cpp, steamclient_win.cpp). On x86-64
 * "this" is the first argument, so a plain function serves as a method.
 */
class SteamCallback
{
public:
    using Receiver = void (*)(void *context, const void *param);

    //! Calls \a receiver with \a context for each callback \a callbackId, whose parameter is \a paramSize bytes.
    SteamCallback(int callbackId, int paramSize, Receiver receiver, void *context);
    //! Unregisters the object when it is registered.
    ~SteamCallback();

    SteamCallback(const SteamCallback &) = delete;
    SteamCallback &operator=(const SteamCallback &) = delete;

    void registerWith(SteamClient &client);
    bool isRegistered() const;

private:
    static const void *_vtable();
    static void _run(void *self, void *param);
    static void _runWithCall(void *self, void *param, bool ioFailure, std::uint64_t apiCall);
    static int _callbackSizeBytes(void *self);

    // The library's part: keep these three first and in this order.
    const void *m_vtable;
    std::uint8_t m_flags = 0;
    std::int32_t m_callbackId;

    int m_paramSize;
    Receiver m_receiver;
    void *m_context;
    SteamClient *m_client = nullptr;
};

} // namespace NimblaSDK
