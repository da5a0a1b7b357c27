#include "signinmethod.h"

#include "authmanager.h"
#include "napplication.h"

using NimblaSDK::AuthManager;

const QVector<SignInMethod> &SignInMethod::all()
{
    static const QVector<SignInMethod> methods{
        {"jwt", "Sign in with the saved token", Token,
         [](AuthManager &manager, const SignInInput &input) {
             if (!input.jwt.isEmpty())
                 NimblaSDK::NApplication::instance().settingsManager()->setJWT(input.jwt);
             manager.loginViaJwt();
             return true;
         },
         nullptr},
        {"password", "Login and password", Password,
         [](AuthManager &manager, const SignInInput &input) {
             manager.loginViaNimblaLogin(input.login, input.password, manager.rememberMe());
             return true;
         },
         nullptr},
        {"oauth-password", "Login and password over OAuth2", Password,
         [](AuthManager &manager, const SignInInput &input) {
             manager.loginViaNimblaLoginOAuth(input.login, input.password, manager.rememberMe());
             return true;
         },
         nullptr},
        {"social", "A social network in the browser", Social,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.providerLink.isEmpty())
                 return false;
             manager.loginViaSocialNetwork(input.providerLink);
             return true;
         },
         "the social provider has no login page"},
        {"social-oauth", "A social network in the browser, over OAuth2", Social,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.provider.isEmpty())
                 return false;
             manager.loginViaSocialNetworkOAuth(input.provider);
             return true;
         },
         "there is no social provider to sign in with"},
        {"steam", "Steam", Platform,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.appId.isEmpty())
                 return false;
             manager.loginViaSteam(input.appId);
             return true;
         },
         "the game's Steam application id is not known; give --app-id"},
        {"steam-oauth", "Steam, over OAuth2", Platform,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.appId.isEmpty())
                 return false;
             manager.loginViaSteamOAuth(input.appId);
             return true;
         },
         "the game's Steam application id is not known; give --app-id"},
        {"playfab", "PlayFab e-mail and password", Account,
         [](AuthManager &manager, const SignInInput &input) {
             manager.loginViaPlayfab(input.login, input.password, manager.rememberMe());
             return true;
         },
         nullptr},
        {"mailru", "The Mail.Ru game centre", Platform,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.uid.isEmpty() || input.ticket.isEmpty())
                 return false;
             manager.loginViaMail(input.uid, input.ticket);
             return true;
         },
         "the game centre's user id and ticket are not known; give --uid and --ticket"},
        {"stone", "The Stone launcher", Platform,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.appId.isEmpty())
                 return false;
             manager.loginViaStone(input.appId);
             return true;
         },
         "the game's id at the Stone launcher is not known; give --app-id"},
        {"steam-playfab", "Steam, through PlayFab", Platform,
         [](AuthManager &manager, const SignInInput &) {
             manager.loginViaSteamToPlayfab();
             return true;
         },
         nullptr},
        {"restore", "The remembered session", Startup,
         [](AuthManager &manager, const SignInInput &) { return manager.tryAutoLogin(); },
         "there is no remembered session; sign in with --remember first"},
        {"otp", "The one-time password left for the launcher", Startup,
         [](AuthManager &manager, const SignInInput &) { return manager.tryLoginWithOtp(); },
         "no one-time password was left for the launcher"},
    };
    return methods;
}

const SignInMethod *SignInMethod::find(const QString &name)
{
    for (const SignInMethod &method : all()) {
        if (name == QLatin1String(method.name))
            return &method;
    }
    return nullptr;
}

QStringList SignInMethod::names()
{
    QStringList result;
    for (const SignInMethod &method : all())
        result << QString::fromLatin1(method.name);
    return result;
}
