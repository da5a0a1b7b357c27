#pragma once

#include <string>

namespace NimblaEmulator {

// The emulator's URL space. Routes are registered with these patterns and the
// library configuration is written from them, so the two cannot drift apart.
// "{project}" and "{provider}" stand for one path segment each.
class UrlLayout
{
public:
    static constexpr const char* WidgetSettings = "/projects/{project}/widget-settings";
    static constexpr const char* SocialProviders = "/projects/{project}/social/providers";
    static constexpr const char* SocialLoginPage = "/projects/{project}/social/{provider}/login";
    static constexpr const char* SocialAuthorize = "/projects/{project}/social/{provider}/authorize";
    static constexpr const char* Login = "/projects/{project}/login";
    static constexpr const char* ProxyLogin = "/projects/{project}/proxy/login";
    static constexpr const char* OAuthLogin = "/projects/{project}/oauth2/login";
    static constexpr const char* OAuthToken = "/projects/{project}/oauth2/token";
    static constexpr const char* OtpExchange = "/projects/{project}/otp/exchange";
    static constexpr const char* SteamLogin = "/projects/{project}/steam/login";
    static constexpr const char* SteamOAuthLogin = "/projects/{project}/steam/oauth2/login";
    static constexpr const char* SteamSetEmail = "/projects/{project}/steam/email";
    static constexpr const char* PlayfabLogin = "/projects/{project}/playfab/login";
    static constexpr const char* PlayfabCrossAuth = "/projects/{project}/playfab/cross-auth";
    static constexpr const char* PlayfabSteamLogin = "/projects/{project}/playfab/steam/login";
    static constexpr const char* MailruLogin = "/projects/{project}/mailru/login";
    static constexpr const char* MailruLanding = "/projects/{project}/mailru/landing";
    static constexpr const char* StoneLogin = "/projects/{project}/stone/login";
    static constexpr const char* StoneSetEmail = "/projects/{project}/stone/email";
    static constexpr const char* ValidateJwt = "/jwt/validate";
    static constexpr const char* GetAttributes = "/attributes/get";
    static constexpr const char* UpdateAttributes = "/attributes/update";
    static constexpr const char* Callback = "/callback";
    static constexpr const char* PrivacyPolicy = "/privacy-policy";

    // PlayFab's URLs are on a host of their own, named after the title.
    UrlLayout(int port, const std::string& playfabHost);

    std::string base() const;
    std::string url(const std::string& pattern, const std::string& project = std::string(),
                    const std::string& provider = std::string()) const;
    std::string playfabUrl(const std::string& pattern, const std::string& project) const;

private:
    std::string _base;
    std::string _playfabBase;
};

} // namespace NimblaEmulator
