#pragma once

#include <QLibrary>
#include <QString>

#include <memory>

namespace NimblaSDK {

/*
 * The Steam client library, loaded at run time and never linked: the one
 * holder of its functions, shared by every Steam sign-in of the process.
 *
 * A library that cannot be loaded, or lacks one of the functions used, is a
 * Steam client that is not running: init() fails and user() is null, which the
 * sessions report as such. Nothing here throws or crashes for it.
 *
 * Initialisation is counted: the client is initialised for the first user and
 * shut down when the last one is done, so that a new Steam sign-in made while
 * the previous one is still being torn down keeps a running client.
 *
 * \code
 * std::shared_ptr<SteamClient> steam = SteamClient::acquire();
 * if (steam->init() && steam->user())
 *     steam->authSessionTicket(buffer, sizeof buffer, &length);
 * steam->shutdown();
 * \endcode
 */
class SteamClient
{
public:
    //! The process's client; loaded on first use from the configured path, else by the platform's file name.
    static std::shared_ptr<SteamClient> acquire();

    SteamClient(const SteamClient &) = delete;
    SteamClient &operator=(const SteamClient &) = delete;

    bool isLoaded() const { return m_loaded; }

    //! SteamAPI_InitFlat, or SteamAPI_Init in a library without it; false when Steam is not running.
    bool init();
    //! Ends one successful init(); the last one shuts the client down.
    void shutdown();
    void runCallbacks();
    //! \a callback is an object laid out as the library expects (see SteamCallback).
    void registerCallback(void *callback, int callbackId);
    void unregisterCallback(void *callback);

    //! The "SteamUser020" interface; null when Steam is not running.
    void *user() const;
    //! Asks for a session ticket, which the ticket callback announces; the ticket's handle.
    unsigned authSessionTicket(void *buffer, int size, unsigned *length);
    //! The player's Steam name; empty when Steam is not running.
    QString personaName() const;

    //! The library's file name on this platform.
    static QString libraryFileName();

private:
    SteamClient();
    bool _open(const QString &fileName);
    bool _resolve();
    void *_interface(const char *version) const;

    using InitFlat = int (*)(char (*errorMessage)[1024]);
    using Init = bool (*)();
    using Call = void (*)();
    using Register = void (*)(void *callback, int callbackId);
    using Unregister = void (*)(void *callback);
    using SteamUser = int (*)();
    using FindInterface = void *(*)(int steamUser, const char *version);
    using GetTicket = unsigned (*)(void *self, void *ticket, int maxTicket, unsigned *ticketLength, const void *identity);
    using GetPersonaName = const char *(*)(void *self);

    QLibrary m_library;
    bool m_loaded = false;
    int m_users = 0;
    InitFlat m_initFlat = nullptr;
    Init m_init = nullptr;
    Call m_shutdown = nullptr;
    Call m_runCallbacks = nullptr;
    Register m_register = nullptr;
    Unregister m_unregister = nullptr;
    SteamUser m_steamUser = nullptr;
    FindInterface m_findInterface = nullptr;
    GetTicket m_getTicket = nullptr;
    GetPersonaName m_getPersonaName = nullptr;
};

} // namespace NimblaSDK
