#pragma once

#include "adminhandler.h"
#include "attributeshandler.h"
#include "emulatorcontext.h"
#include "emulatorstate.h"
#include "faultinjector.h"
#include "jwtvalidationhandler.h"
#include "mailruhandler.h"
#include "oauthtokenhandler.h"
#include "otphandler.h"
#include "pageshandler.h"
#include "passwordloginhandler.h"
#include "playfabhandler.h"
#include "requestlog.h"
#include "router.h"
#include "seed.h"
#include "socialhandler.h"
#include "steamhandler.h"
#include "stonehandler.h"
#include "tokenissuer.h"
#include "urllayout.h"
#include "widgetsettingshandler.h"

#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/ThreadPool.h>

#include <memory>

namespace NimblaEmulator {

// The whole login service: binds 127.0.0.1 at construction (so the port and
// every URL are known before serving) and serves between start() and stop().
class Emulator
{
public:
    Emulator(Seed seed, int port);
    ~Emulator();

    Emulator(const Emulator&) = delete;
    Emulator& operator=(const Emulator&) = delete;

    int port() const;
    const Seed& seed() const;
    const UrlLayout& layout() const;
    EmulatorState& state();

    void start();
    void stop();

private:
    void addRoutes();

    const Seed _seed;
    Poco::Net::ServerSocket _socket;
    const UrlLayout _layout;
    EmulatorState _state;
    const TokenIssuer _issuer;
    RequestLog _requests;
    FaultInjector _faults;
    const EmulatorContext _context;

    WidgetSettingsHandler _widgetSettings;
    JwtValidationHandler _jwtValidation;
    AttributesHandler _attributes;
    PagesHandler _pages;
    OtpHandler _otp;
    PasswordLoginHandler _passwordLogin;
    OAuthTokenHandler _oauthToken;
    SocialHandler _social;
    SteamHandler _steam;
    PlayfabHandler _playfab;
    MailruHandler _mailru;
    StoneHandler _stone;
    AdminHandler _admin;
    Router _router;

    // Injected delays park a worker each; enough threads keep the rest served.
    Poco::ThreadPool _threads;
    std::unique_ptr<Poco::Net::HTTPServer> _server;
};

} // namespace NimblaEmulator
