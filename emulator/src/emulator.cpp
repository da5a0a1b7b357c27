#include "emulator.h"

#include "requesthandlerfactory.h"

#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/SocketAddress.h>

namespace NimblaEmulator {

namespace {

constexpr int kMaxThreads = 64;
constexpr long kKeepAliveSeconds = 600;

Poco::Net::ServerSocket bindLoopback(int port)
{
    Poco::Net::ServerSocket socket;
    socket.bind(Poco::Net::SocketAddress("127.0.0.1", static_cast<Poco::UInt16>(port)), true);
    socket.listen(64);
    return socket;
}

} // namespace

Emulator::Emulator(Seed seed, int port)
    : _seed(std::move(seed))
    , _socket(bindLoopback(port))
    , _layout(_socket.address().port(), _seed.playfab.titleId + ".0.0.1")
    , _state(_seed)
    , _issuer(_seed.tokenSecret, _seed.tokenLifetimeSeconds)
    , _context(_seed, _state, _issuer, _layout, _requests, _faults)
    , _widgetSettings(_context)
    , _jwtValidation(_context)
    , _attributes(_context)
    , _pages(_context)
    , _otp(_context)
    , _passwordLogin(_context)
    , _oauthToken(_context)
    , _social(_context)
    , _steam(_context)
    , _playfab(_context)
    , _mailru(_context)
    , _stone(_context)
    , _admin(_context)
    , _threads(2, kMaxThreads)
{
    addRoutes();
}

Emulator::~Emulator()
{
    stop();
}

int Emulator::port() const
{
    return _socket.address().port();
}

const Seed& Emulator::seed() const
{
    return _seed;
}

const UrlLayout& Emulator::layout() const
{
    return _layout;
}

EmulatorState& Emulator::state()
{
    return _state;
}

void Emulator::addRoutes()
{
    _router.add("GET", UrlLayout::WidgetSettings, [this](HttpExchange& e) { _widgetSettings.handle(e); });
    _router.add("POST", UrlLayout::ValidateJwt, [this](HttpExchange& e) { _jwtValidation.handle(e); });
    _router.add("POST", UrlLayout::GetAttributes, [this](HttpExchange& e) { _attributes.handleGet(e); });
    _router.add("POST", UrlLayout::UpdateAttributes, [this](HttpExchange& e) { _attributes.handleUpdate(e); });
    _router.add("GET", UrlLayout::OtpExchange, [this](HttpExchange& e) { _otp.handle(e); });
    _router.add("POST", UrlLayout::Login, [this](HttpExchange& e) { _passwordLogin.handlePlain(e); });
    _router.add("POST", UrlLayout::ProxyLogin, [this](HttpExchange& e) { _passwordLogin.handlePlain(e); });
    _router.add("POST", UrlLayout::OAuthLogin, [this](HttpExchange& e) { _passwordLogin.handleOAuth(e); });
    _router.add("POST", UrlLayout::OAuthToken, [this](HttpExchange& e) { _oauthToken.handle(e); });
    _router.add("GET", UrlLayout::SocialProviders, [this](HttpExchange& e) { _social.handleProviders(e); });
    _router.add("GET", UrlLayout::SocialLoginPage, [this](HttpExchange& e) { _social.handleLoginPage(e); });
    _router.add("GET", UrlLayout::SocialAuthorize, [this](HttpExchange& e) { _social.handleAuthorize(e); });
    _router.add("GET", UrlLayout::Callback, [this](HttpExchange& e) { _pages.handleCallback(e); });
    _router.add("GET", UrlLayout::PrivacyPolicy, [this](HttpExchange& e) { _pages.handlePrivacyPolicy(e); });
    _router.add("GET", UrlLayout::SteamLogin, [this](HttpExchange& e) { _steam.handleLogin(e); });
    _router.add("GET", UrlLayout::SteamOAuthLogin, [this](HttpExchange& e) { _steam.handleOAuthLogin(e); });
    _router.add("POST", UrlLayout::SteamSetEmail, [this](HttpExchange& e) { _steam.handleSetEmail(e); });

    _router.add("POST", UrlLayout::PlayfabLogin, [this](HttpExchange& e) { _playfab.handleEmailLogin(e); });
    _router.add("POST", UrlLayout::PlayfabSteamLogin, [this](HttpExchange& e) { _playfab.handleSteamLogin(e); });
    _router.add("GET", UrlLayout::PlayfabCrossAuth, [this](HttpExchange& e) { _playfab.handleCrossAuth(e); });

    _router.add("GET", UrlLayout::MailruLogin, [this](HttpExchange& e) { _mailru.handleLogin(e); });
    _router.add("GET", UrlLayout::MailruLanding, [this](HttpExchange& e) { _mailru.handleLanding(e); });
    _router.add("GET", UrlLayout::StoneLogin, [this](HttpExchange& e) { _stone.handleLogin(e); });
    _router.add("POST", UrlLayout::StoneSetEmail, [this](HttpExchange& e) { _stone.handleSetEmail(e); });

    _router.add("GET", "/admin/token", [this](HttpExchange& e) { _admin.handleToken(e); });
    _router.add("GET", "/admin/config", [this](HttpExchange& e) { _admin.handleConfig(e); });
    _router.add("GET", "/admin/faults", [this](HttpExchange& e) { _admin.handleListFaults(e); });
    _router.add("POST", "/admin/faults", [this](HttpExchange& e) { _admin.handleAddFault(e); });
    _router.add("DELETE", "/admin/faults", [this](HttpExchange& e) { _admin.handleClearFaults(e); });
    _router.add("GET", "/admin/requests", [this](HttpExchange& e) { _admin.handleListRequests(e); });
    _router.add("DELETE", "/admin/requests", [this](HttpExchange& e) { _admin.handleClearRequests(e); });
    _router.add("POST", "/admin/otp", [this](HttpExchange& e) { _admin.handleAddOtp(e); });
    _router.add("POST", "/admin/revoke", [this](HttpExchange& e) { _admin.handleRevoke(e); });
    _router.add("PUT", "/admin/pkce", [this](HttpExchange& e) { _admin.handleSetPkce(e); });
}

void Emulator::start()
{
    if (_server)
        return;
    Poco::Net::HTTPServerParams::Ptr params = new Poco::Net::HTTPServerParams;
    params->setMaxThreads(kMaxThreads);
    params->setMaxQueued(256);
    params->setKeepAlive(true);
    // A client reuses an idle kept-alive connection for as long as it caches it (Qt: two minutes).
    // Closed by the server meanwhile, a request sent on it just then is sent again, and a test that
    // counts requests sees two. The client closes its idle connections first.
    params->setKeepAliveTimeout(Poco::Timespan(kKeepAliveSeconds, 0));
    _server = std::make_unique<Poco::Net::HTTPServer>(new RequestHandlerFactory(_router, _context), _threads,
                                                      _socket, params);
    _server->start();
}

void Emulator::stop()
{
    if (!_server)
        return;
    _faults.shutdown();
    _server->stopAll(true);
    _server.reset();
    _threads.joinAll();
}

} // namespace NimblaEmulator
