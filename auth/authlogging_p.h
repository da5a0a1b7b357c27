#pragma once

#include <QLoggingCategory>

namespace NimblaSDK {

// Every logging category of the library, declared once. The names are the
// ones that launchers' log filters and the log dashboards already know, odd
// spellings included; the README lists them for QT_LOGGING_RULES.

Q_DECLARE_LOGGING_CATEGORY(lcAuthManager) // "NimblaSDK.Auth.AuthManager"
Q_DECLARE_LOGGING_CATEGORY(lcSession) // "logCatNimblaAuth", the session base and the login-and-password session
Q_DECLARE_LOGGING_CATEGORY(lcOAuthSession) // "NimblaSDK.Auth.AbstactOAuthSession"
Q_DECLARE_LOGGING_CATEGORY(lcLoginOAuthSession) // "logCatNimblaOAuth2.0"
Q_DECLARE_LOGGING_CATEGORY(lcSocialAuth) // "logCatSosialAuth", misspelt on purpose: the log dashboards filter on this name
Q_DECLARE_LOGGING_CATEGORY(lcSocialOAuth) // "NimblaSDK.Auth.SocialNetworkOAuthSession"
Q_DECLARE_LOGGING_CATEGORY(lcSteamAuth) // "logCatSteamAuth", the Steam session and the Steam client library
Q_DECLARE_LOGGING_CATEGORY(lcSteamOAuth) // "logCatSteamOAuth2.0"
Q_DECLARE_LOGGING_CATEGORY(lcPlayfabAuth) // "PlayfabAuth"
Q_DECLARE_LOGGING_CATEGORY(lcSteamPlayfabAuth) // "SteamPlayfabAuth", the Steam-to-PlayFab session
Q_DECLARE_LOGGING_CATEGORY(lcJwtChecker) // "JWTchecker"
Q_DECLARE_LOGGING_CATEGORY(lcJwtValidator) // "Nimbla.Auth.NimblaLoginJwtValidator"
Q_DECLARE_LOGGING_CATEGORY(lcHttpServer) // "HttpServer"
Q_DECLARE_LOGGING_CATEGORY(lcCredentials) // "NimblaSDK.Auth.Credentials"
Q_DECLARE_LOGGING_CATEGORY(lcOtpProvider) // "NimblaSDK.Auth.OtpProvider"
Q_DECLARE_LOGGING_CATEGORY(lcOtpExchanger) // "NimblaSDK.Auth.OtpExchanger"
Q_DECLARE_LOGGING_CATEGORY(lcUserAttributes) // "UserAttributes"
Q_DECLARE_LOGGING_CATEGORY(lcMailRuAuth) // "logCatMailRuAuth"
Q_DECLARE_LOGGING_CATEGORY(lcStoneAuth) // "logCatStoneAuth", the Stone sign-in and the Stone launcher library's loader

} // namespace NimblaSDK
