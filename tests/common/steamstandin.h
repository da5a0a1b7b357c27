#pragma once

#include "abstractsession.h"
#include "libraryreports.h"
#include "napplication.h"

#include <QFileInfo>
#include <QLibrary>
#include <QSignalSpy>
#include <QString>

#include <type_traits>

// The stand-in Steam client library, as the Steam tests drive and inspect it.
namespace SteamStandIn {

//! The Steam client the stand-in plays from its next SteamAPI_Init.
struct Client
{
    QByteArray ticket = "steam-ivan"; //!< the ticket's bytes: a seeded Steam account's key
    QByteArray ticketHex;             //!< the ticket's bytes in hexadecimal, instead of \a ticket
    QByteArray persona = "Ivan the Steam player";
    int ticketResult = 1;
    int ticks = 1; //!< pump ticks before the ticket is delivered
    bool initFails = false;
    bool userAbsent = false;

    void apply() const
    {
        qputenv("NIMBLA_STEAM_TICKET", ticket);
        qputenv("NIMBLA_STEAM_TICKET_HEX", ticketHex);
        qputenv("NIMBLA_STEAM_PERSONA", persona);
        qputenv("NIMBLA_STEAM_TICKET_RESULT", QByteArray::number(ticketResult));
        qputenv("NIMBLA_STEAM_TICKET_TICKS", QByteArray::number(ticks));
        qputenv("NIMBLA_STEAM_INIT", initFails ? "fail" : "ok");
        qputenv("NIMBLA_STEAM_USER", userAbsent ? "absent" : "present");
    }
};

inline QString libraryPath()
{
    return NimblaSDK::NApplication::instance().configManager()->steamApiLibrary();
}

//! A variant of the stand-in built beside it, e.g. "no-ticket".
inline QString variantPath(const QString &variant)
{
    const QFileInfo standIn(libraryPath());
    return standIn.dir().filePath(variant + QLatin1Char('/') + standIn.fileName());
}

//! What only the stand-in tells: the same loaded library as the sessions use.
class Inspector
{
public:
    explicit Inspector(const QString &path = libraryPath())
        : m_library(path)
    {
        m_library.load();
    }

    bool isLoaded() const { return m_library.isLoaded(); }
    int registeredCallbacks() { return call<int>("NimblaSteamStandIn_registeredCallbacks"); }
    int pumpCount() { return call<int>("NimblaSteamStandIn_pumpCount"); }
    qint64 pumpTimeMs(int index) { return call<long long>("NimblaSteamStandIn_pumpTimeMs", index); }
    bool initialised() { return call<bool>("NimblaSteamStandIn_initialised"); }
    QString lastInit() { return QString::fromLatin1(call<const char *>("NimblaSteamStandIn_lastInit")); }
    //! The last misuse of the library's ABI, such as a callback object laid out wrongly.
    QString fault() { return QString::fromLatin1(call<const char *>("NimblaSteamStandIn_fault")); }
    void clearFault() { call<void>("NimblaSteamStandIn_clearFault"); }

private:
    template <typename Result, typename... Arguments>
    Result call(const char *name, Arguments... arguments)
    {
        using Function = Result (*)(Arguments...);
        return reinterpret_cast<Function>(m_library.resolve(name))(arguments...);
    }

    QLibrary m_library;
};

template <typename Session, typename = void>
struct HasSteamAppId : std::false_type
{
};
template <typename Session>
struct HasSteamAppId<Session, std::void_t<decltype(&Session::setSteamAppId)>> : std::true_type
{
};

//! One Steam sign-in: the session and what it signals.
template <typename Session>
struct Attempt
{
    //! \a steamAppId is given to the sessions that take one.
    explicit Attempt(const QString &steamAppId = QStringLiteral("700100"))
        : session(nullptr)
    {
        if constexpr (HasSteamAppId<Session>::value)
            session.setSteamAppId(steamAppId);
    }

    Session session;
    QSignalSpy finished{&session, &NimblaSDK::AbstractSession::loginFinished};
    QSignalSpy errors{&session, &NimblaSDK::AbstractSession::error};
    QSignalSpy refreshed{&session, &NimblaSDK::AbstractSession::refreshed};
    QSignalSpy needEmail{&session, &Session::needSendEmail};
    QSignalSpy emailSent{&session, &Session::sendEmailFinished};

    //! Whether the sign-in has ended one way or another.
    bool ended() const { return !finished.isEmpty() || !errors.isEmpty() || !needEmail.isEmpty(); }
};

} // namespace SteamStandIn
