#include "qmlregistration.h"

#include "qmlforeigntypes_p.h"

namespace NimblaSDK {

void registerQmlTypes()
{
    using namespace QmlTypes;
    const char uri[] = "NimblaSDK.Auth";
    qmlRegisterTypesAndRevisions<ForeignAuthManager, ForeignAbstractSession, ForeignAbstactOAuthSession,
                                 ForeignNimblaLoginSession, ForeignNimblaLoginOAuthSession, ForeignJwtLoginSession,
                                 ForeignPlayfabLoginSession, ForeignSocialNetworkSession,
                                 ForeignSocialNetworkOAuthSession, ForeignSteamSession, ForeignSteamOAuthSession,
                                 ForeignMailRuSession, ForeignStoneSession, ForeignSteamPlayfabSession,
                                 ForeignUserAttributes>(uri, 1);
    qmlRegisterModule(uri, 1, 0);
}

} // namespace NimblaSDK
