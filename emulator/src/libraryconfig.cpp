#include "libraryconfig.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace NimblaEmulator {

using Poco::JSON::Object;

namespace {

// The Stone launcher's library of this machine: the stand-in built beside the
// emulator, or empty where the launcher brings its own (Windows).
const std::string kStoneLauncherLibrary = NIMBLA_STONE_STANDIN_PATH;

} // namespace

Object::Ptr LibraryConfig::build(const Seed::Project& project, const UrlLayout& layout)
{
    const std::string& id = project.id;
    auto projectUrl = [&](const char* pattern) { return layout.url(pattern, id); };

    Object::Ptr urls = new Object(Poco::JSON_PRESERVE_KEY_ORDER);
    urls->set("socialNetworksListUrl", projectUrl(UrlLayout::SocialProviders));
    urls->set("widgetSettingsUrl", projectUrl(UrlLayout::WidgetSettings));
    urls->set("getUserAttributesUrl", layout.url(UrlLayout::GetAttributes));
    urls->set("updateUserAttributesUrl", layout.url(UrlLayout::UpdateAttributes));
    urls->set("loginUrl", projectUrl(UrlLayout::Login));
    urls->set("proxyLoginUrl", projectUrl(UrlLayout::ProxyLogin));
    // The library puts its state where "%1" stands; nothing else in the
    // template may look like a placeholder, hence no percent-encoded values.
    urls->set("oauthLoginUrl", projectUrl(UrlLayout::OAuthLogin) + "?client_id=" +
                                   std::to_string(project.clientId) + "&response_type=code&state=%1");
    urls->set("oauthExchangeCodeUrl", projectUrl(UrlLayout::OAuthToken));
    urls->set("loginAuthViaSocialNetwork", layout.url(UrlLayout::SocialAuthorize, id, "%1"));
    // The library fills these with the Steam application id, the session
    // ticket and, for OAuth2, the state first.
    urls->set("steamLoginUrl", projectUrl(UrlLayout::SteamLogin) + "?app_id=%1&ticket=%2");
    urls->set("steamOAuthLoginUrl", projectUrl(UrlLayout::SteamOAuthLogin) + "?client_id=" +
                                        std::to_string(project.clientId) +
                                        "&response_type=code&state=%1&app_id=%2&ticket=%3");
    urls->set("steamSetEmailUrl", projectUrl(UrlLayout::SteamSetEmail));
    // The library takes the PlayFab title id from the first label of these hosts.
    urls->set("playfabLoginUrl", layout.playfabUrl(UrlLayout::PlayfabLogin, id));
    urls->set("playfabCrossAuthUrl", projectUrl(UrlLayout::PlayfabCrossAuth) + "?playfab_id=%1&session_ticket=%2");
    urls->set("playfabSteamLoginUrl", layout.playfabUrl(UrlLayout::PlayfabSteamLogin, id));
    // The game centre's user id and ticket, then the Stone launcher's service
    // ticket, game id and user id, go in unencoded where the placeholders stand.
    urls->set("mailruLoginUrl", projectUrl(UrlLayout::MailruLogin) + "?uid=%1&ticket=%2");
    urls->set("stoneLoginUrl", projectUrl(UrlLayout::StoneLogin) + "?ticket=%1&game_id=%2&user_id=%3");
    urls->set("stoneSetEmailUrl", projectUrl(UrlLayout::StoneSetEmail));
    urls->set("validateJWTUrl", layout.url(UrlLayout::ValidateJwt));
    // The OTP goes in unencoded and may contain '&' or '=', so it must be the
    // last thing in the query: the exchange reads everything after "otp=".
    urls->set("exchangeOtpUrl", projectUrl(UrlLayout::OtpExchange) + "?otp=%1");

    Object::Ptr network = new Object(Poco::JSON_PRESERVE_KEY_ORDER);
    network->set("requestTimeoutMs", 30000);
    network->set("strictTls", true);

    Object::Ptr config = new Object(Poco::JSON_PRESERVE_KEY_ORDER);
    config->set("appAccountName", "NimblaLauncherDemo");
    config->set("productName", "NimblaDemo");
    config->set("loginProjectId", id);
    config->set("callbackUrl", layout.url(UrlLayout::Callback));
    config->set("authFields", project.authFields);
    config->set("oauth2Enabled", true);
    config->set("oauth2ClientId", project.clientId);
    config->set("authorizationTimeoutMs", 60000);
    if (!kStoneLauncherLibrary.empty())
        config->set("stoneLauncherLibrary", kStoneLauncherLibrary);
    config->set("network", network);
    // The stand-in Steam client built beside the emulator, so that a Steam
    // sign-in against the emulator finds a Steam client to talk to.
    config->set("steamApiLibrary", NIMBLA_STEAM_STANDIN_PATH);
    config->set("urls", urls);
    return config;
}

std::string LibraryConfig::toText(const Object::Ptr& config)
{
    std::ostringstream out;
    config->stringify(out, 2);
    out << '\n';
    return out.str();
}

void LibraryConfig::writeFile(const Object::Ptr& config, const std::string& path)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out)
        throw std::runtime_error("cannot open for writing");
    out << toText(config);
    out.flush();
    if (!out)
        throw std::runtime_error("write failed");
}

} // namespace NimblaEmulator
