#include "steamclient.h"

#include "authlogging_p.h"
#include "napplication.h"

#include <type_traits>

namespace NimblaSDK {

std::shared_ptr<SteamClient> SteamClient::acquire()
{
    // Sign-ins live on the main thread only, so the shared instance needs no lock.
    static std::weak_ptr<SteamClient> shared;
    std::shared_ptr<SteamClient> client = shared.lock();
    if (!client) {
        client.reset(new SteamClient);
        shared = client;
    }
    return client;
}

SteamClient::SteamClient()
{
    const QString configured = NApplication::instance().configManager()->steamApiLibrary();
    // A configured library that lacks an export is not replaced by another one.
    if ((!configured.isEmpty() && _open(configured)) || _open(libraryFileName()))
        m_loaded = _resolve();
}

bool SteamClient::_open(const QString &fileName)
{
    m_library.setFileName(fileName);
    if (m_library.load())
        return true;
    qCWarning(lcSteamAuth).noquote() << "Steam client library not loaded:" << m_library.errorString();
    return false;
}

bool SteamClient::_resolve()
{
    // Each export read with the type it has in the library.
    const auto resolve = [this](auto &function, const char *name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(m_library.resolve(name));
        if (!function)
            qCWarning(lcSteamAuth).noquote() << "Steam client library" << m_library.fileName() << "lacks" << name;
        return function != nullptr;
    };
    // Libraries from before SteamAPI_InitFlat start with SteamAPI_Init.
    m_initFlat = reinterpret_cast<InitFlat>(m_library.resolve("SteamAPI_InitFlat"));
    const bool canInit = m_initFlat || resolve(m_init, "SteamAPI_Init");
    // Every export is looked for, so that the log names each one missing.
    const bool complete = resolve(m_shutdown, "SteamAPI_Shutdown") & resolve(m_runCallbacks, "SteamAPI_RunCallbacks")
            & resolve(m_register, "SteamAPI_RegisterCallback") & resolve(m_unregister, "SteamAPI_UnregisterCallback")
            & resolve(m_steamUser, "SteamAPI_GetHSteamUser")
            & resolve(m_findInterface, "SteamInternal_FindOrCreateUserInterface")
            & resolve(m_getTicket, "SteamAPI_ISteamUser_GetAuthSessionTicket")
            & resolve(m_getPersonaName, "SteamAPI_ISteamFriends_GetPersonaName");
    return canInit && complete;
}

bool SteamClient::init()
{
    if (!m_loaded)
        return false;
    if (m_users > 0) {
        ++m_users;
        return true;
    }
    const bool running = m_initFlat ? m_initFlat(nullptr) == 0 : m_init();
    if (running)
        ++m_users;
    return running;
}

void SteamClient::shutdown()
{
    if (m_users > 0 && --m_users == 0)
        m_shutdown();
}

void SteamClient::runCallbacks()
{
    if (m_loaded)
        m_runCallbacks();
}

void SteamClient::registerCallback(void *callback, int callbackId)
{
    if (m_loaded)
        m_register(callback, callbackId);
}

void SteamClient::unregisterCallback(void *callback)
{
    if (m_loaded)
        m_unregister(callback);
}

void *SteamClient::_interface(const char *version) const
{
    // A client that no sign-in has initialised is not asked for anything.
    if (m_users == 0)
        return nullptr;
    return m_findInterface(m_steamUser(), version);
}

void *SteamClient::user() const
{
    return _interface("SteamUser020");
}

unsigned SteamClient::authSessionTicket(void *buffer, int size, unsigned *length)
{
    void *steamUser = user();
    if (!steamUser)
        return 0;
    // Libraries whose ticket call takes a network identity read it from the
    // fifth argument; null asks for none. Older ones ignore it.
    return m_getTicket(steamUser, buffer, size, length, nullptr);
}

QString SteamClient::personaName() const
{
    void *friends = _interface("SteamFriends017");
    if (!friends)
        return QString();
    return QString::fromUtf8(m_getPersonaName(friends));
}

} // namespace NimblaSDK
