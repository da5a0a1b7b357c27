#include "qmlregistration.h"

#include "abstactoauthsession.h"
#include "abstractsession.h"
#include "attributes/userattributes.h"
#include "authmanager.h"
#include "sessions/jwtloginsession.h"
#include "sessions/mailrusession.h"
#include "sessions/nimblaloginoauthsession.h"
#include "sessions/nimblaloginsession.h"
#include "sessions/playfabloginsession.h"
#include "sessions/socialnetworkoauthsession.h"
#include "sessions/socialnetworksession.h"
#include "sessions/steamoauthsession.h"
#include "sessions/steamplayfabsession.h"
#include "sessions/steamsession.h"
#include "sessions/stonesession.h"

#include <QtQml>

namespace NimblaSDK {

namespace {

const char Module[] = "NimblaSDK";
constexpr int Major = 1;
constexpr int Minor = 0;

template <typename Session>
void registerSession(const char *name)
{
    qmlRegisterUncreatableType<Session>(Module, Major, Minor, name,
                                        QStringLiteral("%1 is created by AuthManager").arg(QLatin1String(name)));
}

} // namespace

void registerQmlTypes()
{
    qmlRegisterType<AuthManager>(Module, Major, Minor, "AuthManager");
    registerSession<AbstractSession>("AbstractSession");
    registerSession<AbstactOAuthSession>("AbstactOAuthSession");
    registerSession<NimblaLoginSession>("NimblaLoginSession");
    registerSession<NimblaLoginOAuthSession>("NimblaLoginOAuthSession");
    registerSession<JwtLoginSession>("JwtLoginSession");
    registerSession<PlayfabLoginSession>("PlayfabLoginSession");
    registerSession<SocialNetworkSession>("SocialNetworkSession");
    registerSession<SocialNetworkOAuthSession>("SocialNetworkOAuthSession");
    // It needs the launcher's requester, so QML is handed one made in C++.
    qmlRegisterUncreatableType<UserAttributes>(
            Module, Major, Minor, "UserAttributes",
            QStringLiteral("UserAttributes is created in C++ with its requester and handed to QML"));
    registerSession<SteamSession>("SteamSession");
    registerSession<SteamOAuthSession>("SteamOAuthSession");
    registerSession<MailRuSession>("MailRuSession");
    registerSession<StoneSession>("StoneSession");
    registerSession<SteamPlayfabSession>("SteamPlayfabSession");
}

} // namespace NimblaSDK
