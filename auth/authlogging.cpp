#include "authlogging_p.h"

namespace NimblaSDK {

Q_LOGGING_CATEGORY(lcAuthManager, "NimblaSDK.Auth.AuthManager")
Q_LOGGING_CATEGORY(lcSession, "logCatNimblaAuth")
Q_LOGGING_CATEGORY(lcOAuthSession, "NimblaSDK.Auth.AbstactOAuthSession")
Q_LOGGING_CATEGORY(lcLoginOAuthSession, "logCatNimblaOAuth2.0")
Q_LOGGING_CATEGORY(lcSocialAuth, "logCatSosialAuth")
Q_LOGGING_CATEGORY(lcSocialOAuth, "NimblaSDK.Auth.SocialNetworkOAuthSession")
Q_LOGGING_CATEGORY(lcSteamAuth, "logCatSteamAuth")
Q_LOGGING_CATEGORY(lcSteamOAuth, "logCatSteamOAuth2.0")
Q_LOGGING_CATEGORY(lcPlayfabAuth, "PlayfabAuth")
Q_LOGGING_CATEGORY(lcSteamPlayfabAuth, "SteamPlayfabAuth")
Q_LOGGING_CATEGORY(lcJwtChecker, "JWTchecker")
Q_LOGGING_CATEGORY(lcJwtValidator, "Nimbla.Auth.NimblaLoginJwtValidator")
Q_LOGGING_CATEGORY(lcHttpServer, "HttpServer")
Q_LOGGING_CATEGORY(lcCredentials, "NimblaSDK.Auth.Credentials")
Q_LOGGING_CATEGORY(lcOtpProvider, "NimblaSDK.Auth.OtpProvider")
Q_LOGGING_CATEGORY(lcOtpExchanger, "NimblaSDK.Auth.OtpExchanger")
Q_LOGGING_CATEGORY(lcUserAttributes, "UserAttributes")
Q_LOGGING_CATEGORY(lcMailRuAuth, "logCatMailRuAuth")
Q_LOGGING_CATEGORY(lcStoneAuth, "logCatStoneAuth")

} // namespace NimblaSDK
