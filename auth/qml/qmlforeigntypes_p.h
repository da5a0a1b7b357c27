#pragma once

// The library's classes as QML knows them, declared beside the library rather than in it, so that
// NimblaAuth itself needs no QtQml. qmltyperegistrar reads these declarations for the module's type
// information, the plugin of Qt 6 registers them from it, and registerQmlTypes() registers them by hand.
// The sessions name their base classes with the namespace: qmltyperegistrar finds a base class by the
// name as written, and without it the type information would lose the members the sessions inherit.

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

#include <QtQml/qqml.h>

namespace NimblaSDK::QmlTypes {

struct ForeignAuthManager
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::AuthManager)
    QML_NAMED_ELEMENT(AuthManager)
};

// The sessions are only bound to and cast: AuthManager.CurrentSession is one of them.

struct ForeignAbstractSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::AbstractSession)
    QML_NAMED_ELEMENT(AbstractSession)
    QML_UNCREATABLE("AbstractSession is created by AuthManager")
};

struct ForeignAbstactOAuthSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::AbstactOAuthSession)
    QML_NAMED_ELEMENT(AbstactOAuthSession)
    QML_UNCREATABLE("AbstactOAuthSession is created by AuthManager")
};

struct ForeignNimblaLoginSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::NimblaLoginSession)
    QML_NAMED_ELEMENT(NimblaLoginSession)
    QML_UNCREATABLE("NimblaLoginSession is created by AuthManager")
};

struct ForeignNimblaLoginOAuthSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::NimblaLoginOAuthSession)
    QML_NAMED_ELEMENT(NimblaLoginOAuthSession)
    QML_UNCREATABLE("NimblaLoginOAuthSession is created by AuthManager")
};

struct ForeignJwtLoginSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::JwtLoginSession)
    QML_NAMED_ELEMENT(JwtLoginSession)
    QML_UNCREATABLE("JwtLoginSession is created by AuthManager")
};

struct ForeignPlayfabLoginSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::PlayfabLoginSession)
    QML_NAMED_ELEMENT(PlayfabLoginSession)
    QML_UNCREATABLE("PlayfabLoginSession is created by AuthManager")
};

struct ForeignSocialNetworkSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::SocialNetworkSession)
    QML_NAMED_ELEMENT(SocialNetworkSession)
    QML_UNCREATABLE("SocialNetworkSession is created by AuthManager")
};

struct ForeignSocialNetworkOAuthSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::SocialNetworkOAuthSession)
    QML_NAMED_ELEMENT(SocialNetworkOAuthSession)
    QML_UNCREATABLE("SocialNetworkOAuthSession is created by AuthManager")
};

struct ForeignSteamSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::SteamSession)
    QML_NAMED_ELEMENT(SteamSession)
    QML_UNCREATABLE("SteamSession is created by AuthManager")
};

struct ForeignSteamOAuthSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::SteamOAuthSession)
    QML_NAMED_ELEMENT(SteamOAuthSession)
    QML_UNCREATABLE("SteamOAuthSession is created by AuthManager")
};

struct ForeignMailRuSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::MailRuSession)
    QML_NAMED_ELEMENT(MailRuSession)
    QML_UNCREATABLE("MailRuSession is created by AuthManager")
};

struct ForeignStoneSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::StoneSession)
    QML_NAMED_ELEMENT(StoneSession)
    QML_UNCREATABLE("StoneSession is created by AuthManager")
};

struct ForeignSteamPlayfabSession
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::SteamPlayfabSession)
    QML_NAMED_ELEMENT(SteamPlayfabSession)
    QML_UNCREATABLE("SteamPlayfabSession is created by AuthManager")
};

// It needs the launcher's requester, so QML is handed one made in C++.
struct ForeignUserAttributes
{
    Q_GADGET
    QML_FOREIGN(NimblaSDK::UserAttributes)
    QML_NAMED_ELEMENT(UserAttributes)
    QML_UNCREATABLE("UserAttributes is created in C++ with its requester and handed to QML")
};

} // namespace NimblaSDK::QmlTypes
