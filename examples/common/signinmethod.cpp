#include "signinmethod.h"

#include "authmanager.h"
#include "napplication.h"

using NimblaSDK::AuthManager;

const QVector<SignInMethod> &SignInMethod::all()
{
    static const QVector<SignInMethod> methods{
        {"jwt", QT_TRANSLATE_NOOP("SignInMethod", "Sign in with the saved token"), Token,
         [](AuthManager &manager, const SignInInput &input) {
             if (!input.jwt.isEmpty())
                 NimblaSDK::NApplication::instance().settingsManager()->setJWT(input.jwt);
             manager.loginViaJwt();
             return true;
         },
         nullptr},
        {"password", QT_TRANSLATE_NOOP("SignInMethod", "Login and password"), Password,
         [](AuthManager &manager, const SignInInput &input) {
             manager.loginViaNimblaLogin(input.login, input.password, manager.rememberMe());
             return true;
         },
         nullptr},
        {"oauth-password", QT_TRANSLATE_NOOP("SignInMethod", "Login and password over OAuth2"), Password,
         [](AuthManager &manager, const SignInInput &input) {
             manager.loginViaNimblaLoginOAuth(input.login, input.password, manager.rememberMe());
             return true;
         },
         nullptr},
        {"social", QT_TRANSLATE_NOOP("SignInMethod", "A social network in the browser"), Social,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.providerLink.isEmpty())
                 return false;
             manager.loginViaSocialNetwork(input.providerLink);
             return true;
         },
         QT_TRANSLATE_NOOP("SignInMethod", "the social provider has no login page")},
        {"social-oauth", QT_TRANSLATE_NOOP("SignInMethod", "A social network in the browser, over OAuth2"), Social,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.provider.isEmpty())
                 return false;
             manager.loginViaSocialNetworkOAuth(input.provider);
             return true;
         },
         QT_TRANSLATE_NOOP("SignInMethod", "there is no social provider to sign in with")},
        {"steam", QT_TRANSLATE_NOOP("SignInMethod", "Steam"), Platform,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.appId.isEmpty())
                 return false;
             manager.loginViaSteam(input.appId);
             return true;
         },
         QT_TRANSLATE_NOOP("SignInMethod", "the game's Steam application id is not known; give --app-id")},
        {"steam-oauth", QT_TRANSLATE_NOOP("SignInMethod", "Steam, over OAuth2"), Platform,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.appId.isEmpty())
                 return false;
             manager.loginViaSteamOAuth(input.appId);
             return true;
         },
         QT_TRANSLATE_NOOP("SignInMethod", "the game's Steam application id is not known; give --app-id")},
        {"playfab", QT_TRANSLATE_NOOP("SignInMethod", "PlayFab e-mail and password"), Account,
         [](AuthManager &manager, const SignInInput &input) {
             manager.loginViaPlayfab(input.login, input.password, manager.rememberMe());
             return true;
         },
         nullptr},
        {"mailru", QT_TRANSLATE_NOOP("SignInMethod", "The Mail.Ru game centre"), Platform,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.uid.isEmpty() || input.ticket.isEmpty())
                 return false;
             manager.loginViaMail(input.uid, input.ticket);
             return true;
         },
         QT_TRANSLATE_NOOP("SignInMethod", "the game centre's user id and ticket are not known; give --uid and --ticket")},
        {"stone", QT_TRANSLATE_NOOP("SignInMethod", "The Stone launcher"), Platform,
         [](AuthManager &manager, const SignInInput &input) {
             if (input.appId.isEmpty())
                 return false;
             manager.loginViaStone(input.appId);
             return true;
         },
         QT_TRANSLATE_NOOP("SignInMethod", "the game's id at the Stone launcher is not known; give --app-id")},
        {"steam-playfab", QT_TRANSLATE_NOOP("SignInMethod", "Steam, through PlayFab"), Platform,
         [](AuthManager &manager, const SignInInput &) {
             manager.loginViaSteamToPlayfab();
             return true;
         },
         nullptr},
        {"restore", QT_TRANSLATE_NOOP("SignInMethod", "The remembered session"), Startup,
         [](AuthManager &manager, const SignInInput &) { return manager.tryAutoLogin(); },
         QT_TRANSLATE_NOOP("SignInMethod", "there is no remembered session; sign in with --remember first")},
        {"otp", QT_TRANSLATE_NOOP("SignInMethod", "The one-time password left for the launcher"), Startup,
         [](AuthManager &manager, const SignInInput &) { return manager.tryLoginWithOtp(); },
         QT_TRANSLATE_NOOP("SignInMethod", "no one-time password was left for the launcher")},
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
