#include "qmlregistration.h"

#include "abstactoauthsession.h"
#include "abstractsession.h"
#include "authmanager.h"
#include "sessions/jwtloginsession.h"
#include "sessions/mailrusession.h"
#include "sessions/nimblaloginoauthsession.h"
#include "sessions/nimblaloginsession.h"
#include "sessions/socialnetworkoauthsession.h"
#include "sessions/socialnetworksession.h"
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
    registerSession<SocialNetworkSession>("SocialNetworkSession");
    registerSession<SocialNetworkOAuthSession>("SocialNetworkOAuthSession");
    registerSession<MailRuSession>("MailRuSession");
    registerSession<StoneSession>("StoneSession");
}

} // namespace NimblaSDK
