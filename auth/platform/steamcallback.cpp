#include "steamcallback.h"

#include "steamclient.h"

#include <cstddef>
#include <type_traits>

namespace NimblaSDK {

namespace {

// What the flags byte says; the library tests it too.
constexpr std::uint8_t Registered = 0x01;

} // namespace

SteamCallback::SteamCallback(int callbackId, int paramSize, Receiver receiver, void *context)
    : m_vtable(_vtable())
    , m_callbackId(callbackId)
    , m_paramSize(paramSize)
    , m_receiver(receiver)
    , m_context(context)
{
    static_assert(std::is_standard_layout<SteamCallback>::value, "the library reads the object's first bytes");
    static_assert(offsetof(SteamCallback, m_vtable) == 0 && offsetof(SteamCallback, m_flags) == 8
                          && offsetof(SteamCallback, m_callbackId) == 12,
                  "the callback base's layout is the library's ABI");
}

SteamCallback::~SteamCallback()
{
    if (isRegistered()) {
        m_client->unregisterCallback(this);
        m_flags &= std::uint8_t(~Registered);
    }
}

void SteamCallback::registerWith(SteamClient &client)
{
    if (!client.isLoaded() || isRegistered())
        return;
    m_client = &client;
    m_flags |= Registered;
    client.registerCallback(this, m_callbackId);
}

bool SteamCallback::isRegistered() const
{
    return (m_flags & Registered) != 0;
}

void SteamCallback::_run(void *self, void *param)
{
    auto *callback = static_cast<SteamCallback *>(self);
    callback->m_receiver(callback->m_context, param);
}

void SteamCallback::_runWithCall(void *self, void *param, bool /*ioFailure*/, std::uint64_t /*apiCall*/)
{
    // Only asynchronous call results come this way, and none is asked for.
    _run(self, param);
}

int SteamCallback::_callbackSizeBytes(void *self)
{
    return static_cast<SteamCallback *>(self)->m_paramSize;
}

} // namespace NimblaSDK
