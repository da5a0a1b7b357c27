#include "authmanager.h"
#include "errorlogger.h"
#include "napplication.h"
#include "sessions/jwtloginsession.h"
#include "sessions/nimblaloginoauthsession.h"
#include "sessions/nimblaloginsession.h"
#include "sessions/socialnetworkoauthsession.h"
#include "sessions/socialnetworksession.h"
#include "storage/credentials.h"

#include "emulatorfixture.h"
#include "managersupport.h"
#include "simulatedbrowser.h"

#include <QNetworkReply>
#include <QPointer>
#include <QtTest>

#include <functional>

using namespace NimblaSDK;
using namespace ManagerSupport;

namespace {

using Start = std::function<void(AuthManager &)>;

const QString Alice = QStringLiteral("alice@example.com");
const QString AlicePassword = QStringLiteral("alice-password");

SDKSettings *settings()
{
    return NApplication::instance().settingsManager();
}

QString projectPath(const QString &rest)
{
    return QStringLiteral("/projects/nimbla-demo-project/") + rest;
}

QString className(const QObject *object)
{
    return object ? QString::fromLatin1(object->metaObject()->className()) : QString();
}

//! Error reports as "title | details | request_url | area".
QStringList errorReports()
{
    QStringList reports;
    for (const QJsonObject &entry : ErrorLogger::instance(ErrorLoggerSettings()).recentEntries()) {
        if (entry.value("kind").toString() == QLatin1String("error"))
            reports << QStringList{entry.value("message").toString(), entry.value("details").toString(),
                                   entry.value("extra").toObject().value("request_url").toString(),
                                   entry.value("area").toString()}.join(" | ");
    }
    return reports;
}

QVariantMap provider(const QString &title, const QString &link)
{
    return {{"title", title}, {"link", link}};
}

} // namespace

Q_DECLARE_METATYPE(Start)

class TestAuthManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void sessionTypeText_data();
    void sessionTypeText();

    void entryPoints_data();
    void entryPoints();
    void sameSessionTwiceChangesNothing();
    void nullSessionOnlyCloses();
    void replacedSessionIsLoggedOut();

    void logout_data();
    void logout();

    void rememberMeSaves_data();
    void rememberMeSaves();
    void onlyTheRefreshTokenIsSaved();
    void signInSavesWhileRemembered();
    void anySessionErrorForgets();
    void switchingRememberMeOffForgets();

    void restore_data();
    void restore();

    void providers_data();
    void providers();
    void providerRequest_data();
    void providerRequest();
    void failedProviderDownload_data();
    void failedProviderDownload();

    void otp_data();
    void otp();
    void emptyOtpCountsAsNone();
    void otpOverOAuth2WhileItIsOff();

private:
    void useProject(const QString &project, const QJsonObject &overrides = {});
    QString freshOtp(const QString &outcome);

    EmulatorFixture m_emulator;
    std::unique_ptr<SimulatedBrowser> m_browser;
    int m_otpCounter = 0;
};

void TestAuthManager::initTestCase()
{
    QVERIFY(m_emulator.start());
}

void TestAuthManager::init()
{
    QVERIFY(m_emulator.loadConfig());
    removeRecord();
    settings()->setRememberMe(false);
    settings()->settingsSync();
    leaveOtp(QString());
    m_emulator.clearFaults();
    m_emulator.clearRequests();
    ErrorLogger::instance(ErrorLoggerSettings()).clearRecentEntries();
    m_browser = std::make_unique<SimulatedBrowser>();
    m_browser->install();
}

void TestAuthManager::cleanup()
{
    m_browser.reset();
}

void TestAuthManager::useProject(const QString &project, const QJsonObject &overrides)
{
    QJsonObject config = m_emulator.adminConfig(project);
    for (auto it = overrides.begin(); it != overrides.end(); ++it)
        config.insert(it.key(), it.value());
    QVERIFY(m_emulator.loadConfig(config));
}

QString TestAuthManager::freshOtp(const QString &outcome)
{
    const QString otp = QStringLiteral("manager-%1-%2").arg(outcome).arg(++m_otpCounter);
    QJsonObject body{{"otp", otp}, {"outcome", outcome}, {"user", Alice}};
    if (outcome == QLatin1String("error"))
        body.insert("status", 500);
    m_emulator.adminSend("POST", QStringLiteral("/admin/otp"), body);
    return otp;
}

void TestAuthManager::sessionTypeText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("roundTrip");

    QTest::newRow("OAuth2") << "OAuth2" << int(AuthManager::OAuth2) << true;
    QTest::newRow("NimblaOAuth2") << "NimblaOAuth2" << int(AuthManager::NimblaOAuth2) << true;
    QTest::newRow("Undefined") << "Undefined" << int(AuthManager::Undefined) << true;
    QTest::newRow("lower case") << "oauth2" << int(AuthManager::Undefined) << false;
    QTest::newRow("empty") << "" << int(AuthManager::Undefined) << false;
    QTest::newRow("value as digits") << "1" << int(AuthManager::Undefined) << false;
}

void TestAuthManager::sessionTypeText()
{
    QFETCH(QString, text);
    QFETCH(int, type);
    QFETCH(bool, roundTrip);

    QCOMPARE(int(AuthManager::stringToSessionType(text)), type);
    if (roundTrip)
        QCOMPARE(AuthManager::sessionTypeToString(AuthManager::SessionType(type)), text);
}

void TestAuthManager::entryPoints_data()
{
    QTest::addColumn<Start>("start");
    QTest::addColumn<QString>("sessionClass");
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QString>("firstRequest");

    const QVariantMap none;
    QTest::newRow("password, form") << Start([](AuthManager &m) { m.loginViaNimblaLogin(); })
                                    << "NimblaSDK::NimblaLoginSession" << none << projectPath("widget-settings");
    QTest::newRow("password") << Start([](AuthManager &m) { m.loginViaNimblaLogin(Alice, AlicePassword, true); })
                              << "NimblaSDK::NimblaLoginSession"
                              << QVariantMap{{"login", Alice}, {"password", AlicePassword}, {"rememberMe", true}}
                              << projectPath("widget-settings");
    QTest::newRow("oauth2 password, form") << Start([](AuthManager &m) { m.loginViaNimblaLoginOAuth(); })
                                           << "NimblaSDK::NimblaLoginOAuthSession" << none
                                           << projectPath("widget-settings");
    QTest::newRow("oauth2 password")
            << Start([](AuthManager &m) { m.loginViaNimblaLoginOAuth(Alice, AlicePassword, false); })
            << "NimblaSDK::NimblaLoginOAuthSession"
            << QVariantMap{{"login", Alice}, {"password", AlicePassword}, {"rememberMe", false}}
            << projectPath("widget-settings");
    QTest::newRow("oauth2 password, restored")
            << Start([](AuthManager &m) { m.loginViaNimblaLoginOAuth(QJsonObject{{"refresh_token", "refresh-x"}}); })
            << "NimblaSDK::NimblaLoginOAuthSession" << none << projectPath("oauth2/token");
    QTest::newRow("ready jwt") << Start([](AuthManager &m) { m.loginViaJwt(); }) << "NimblaSDK::JwtLoginSession"
                               << none << "/jwt/validate";
    QTest::newRow("social") << Start([this](AuthManager &m) {
        m.loginViaSocialNetwork(m_emulator.baseUrl().toString() + projectPath("social/testbook/login"));
    }) << "NimblaSDK::SocialNetworkSession" << none << projectPath("social/testbook/login");
    QTest::newRow("social oauth2") << Start([](AuthManager &m) { m.loginViaSocialNetworkOAuth("testbook"); })
                                   << "NimblaSDK::SocialNetworkOAuthSession" << none
                                   << projectPath("social/testbook/authorize");
    QTest::newRow("social oauth2, restored")
            << Start([](AuthManager &m) { m.loginViaSocialNetworkOAuth("testbook", {{"refresh_token", "refresh-x"}}); })
            << "NimblaSDK::SocialNetworkOAuthSession" << none << projectPath("oauth2/token");
    const QString jwt = m_emulator.token(Alice);
    QTest::newRow("jwt of a one-time password")
            << Start([jwt](AuthManager &m) { m.loginWithOtp(jwt); })
            << "NimblaSDK::NimblaLoginSession" << QVariantMap{{"singleTimeAccessToken", jwt}}
            << projectPath("widget-settings");
}

void TestAuthManager::entryPoints()
{
    QFETCH(Start, start);
    QFETCH(QString, sessionClass);
    QFETCH(QVariantMap, properties);
    QFETCH(QString, firstRequest);

    settings()->setJWT(m_emulator.token(Alice));
    AuthManager manager;
    manager.loginViaNimblaLogin();
    QPointer<AbstractSession> previous = manager.CurrentSession();
    QVERIFY(previous);
    QSignalSpy destroyed(previous.data(), &QObject::destroyed);
    SignalLog log(manager);

    start(manager);

    // Deleted before the call returns, not at the next turn of the event loop.
    QCOMPARE(destroyed.count(), 1);
    QCOMPARE(log.names, QStringList{"currentSessionChanged"});
    AbstractSession *session = manager.CurrentSession();
    QCOMPARE(className(session), sessionClass);
    QCOMPARE(session->parent(), &manager);
    for (auto it = properties.begin(); it != properties.end(); ++it)
        QCOMPARE(session->property(it.key().toLatin1()), it.value());
    QTRY_VERIFY(!m_emulator.requests(firstRequest).isEmpty());
}

void TestAuthManager::sameSessionTwiceChangesNothing()
{
    AuthManager manager;
    manager.loginViaNimblaLoginOAuth();
    AbstractSession *session = manager.CurrentSession();
    QSignalSpy destroyed(session, &QObject::destroyed);
    SignalLog log(manager);
    writeCredential({NApplication::instance().appAccountName(), Alice, AlicePassword});

    manager._setCurrentSession(session);

    QCOMPARE(log.names, QStringList());
    QCOMPARE(destroyed.count(), 0);
    QCOMPARE(manager.CurrentSession(), session);
    // Not logged out either: the saved account is still there.
    QCOMPARE(readCredential(NApplication::instance().appAccountName()).userName, Alice);
    deleteCredential(NApplication::instance().appAccountName());
}

void TestAuthManager::nullSessionOnlyCloses()
{
    AuthManager manager;
    manager.loginViaJwt();
    QSignalSpy destroyed(manager.CurrentSession(), &QObject::destroyed);
    SignalLog log(manager);

    manager._setCurrentSession(nullptr);

    QCOMPARE(destroyed.count(), 1);
    QCOMPARE(manager.CurrentSession(), nullptr);
    QCOMPARE(log.names, QStringList{"currentSessionChanged"});
}

void TestAuthManager::replacedSessionIsLoggedOut()
{
    AuthManager manager;
    manager.loginViaNimblaLogin();
    writeCredential({NApplication::instance().appAccountName(), Alice, AlicePassword});

    manager.loginViaJwt();

    // A password session's logout forgets the saved account.
    QTRY_VERIFY(readCredential(NApplication::instance().appAccountName()).userName.isEmpty());
}

void TestAuthManager::logout_data()
{
    QTest::addColumn<bool>("rememberMe");
    QTest::addColumn<bool>("autologin");
    QTest::addColumn<bool>("withSession");
    QTest::addColumn<QStringList>("emitted");

    for (const bool rememberMe : {false, true}) {
        for (const bool autologin : {false, true}) {
            for (const bool withSession : {false, true}) {
                QStringList expected;
                if (rememberMe)
                    expected << "rememberMeChanged";
                if (autologin)
                    expected << "isAutologinChanged";
                QTest::addRow("remember %s, autologin %s, %s", rememberMe ? "on" : "off", autologin ? "on" : "off",
                              withSession ? "signed in" : "no session")
                        << rememberMe << autologin << withSession << expected;
            }
        }
    }
}

void TestAuthManager::logout()
{
    QFETCH(bool, rememberMe);
    QFETCH(bool, autologin);
    QFETCH(bool, withSession);
    QFETCH(QStringList, emitted);

    const QJsonObject record{{"type", "NimblaOAuth2"}, {"state", QJsonObject{{"refresh_token", "refresh-x"}}}};
    QVERIFY(saveRecord(record));
    settings()->setRememberMe(rememberMe);
    AuthManager manager;
    QCOMPARE(manager.rememberMe(), rememberMe);
    manager.setAutologin(autologin);
    QPointer<AbstractSession> session;
    if (withSession) {
        manager.loginViaNimblaLogin();
        session = manager.CurrentSession();
    }
    SignalLog log(manager);

    QTest::ignoreMessage(QtDebugMsg, "AuthManager logout");
    manager.logout();

    QCOMPARE(log.names, emitted);
    QVERIFY(!session);
    QCOMPARE(manager.CurrentSession(), nullptr);
    QVERIFY(!manager.rememberMe());
    QVERIFY(!manager.isAutologin());
    QVERIFY(!settings()->rememberMe());
    // Only a remembered session is forgotten.
    QTRY_COMPARE(savedRecord(), rememberMe ? QJsonObject() : record);
}

void TestAuthManager::rememberMeSaves_data()
{
    QTest::addColumn<Start>("makeCurrent");
    QTest::addColumn<QJsonObject>("record");

    const QJsonObject tokens{{"access_token", "access-x"}, {"refresh_token", "refresh-x"}};
    QTest::newRow("password") << Start([](AuthManager &m) { m._setCurrentSession(new NimblaLoginSession(&m)); })
                              << QJsonObject();
    QTest::newRow("ready jwt") << Start([](AuthManager &m) { m._setCurrentSession(new JwtLoginSession(&m)); })
                               << QJsonObject();
    QTest::newRow("social") << Start([](AuthManager &m) { m._setCurrentSession(new SocialNetworkSession(&m)); })
                            << QJsonObject();
    QTest::newRow("none") << Start([](AuthManager &) {}) << QJsonObject();
    QTest::newRow("oauth2 password") << Start([tokens](AuthManager &m) {
        auto *session = new NimblaLoginOAuthSession(&m);
        session->setSessionState(tokens);
        m._setCurrentSession(session);
    }) << QJsonObject{{"type", "NimblaOAuth2"}, {"state", QJsonObject{{"refresh_token", "refresh-x"}}}};
    QTest::newRow("social oauth2") << Start([tokens](AuthManager &m) {
        auto *session = new SocialNetworkOAuthSession("testbook", &m);
        session->setSessionState(tokens);
        m._setCurrentSession(session);
    }) << QJsonObject{{"type", "OAuth2"}, {"provider", "testbook"}, {"state", QJsonObject{{"refresh_token", "refresh-x"}}}};
}

void TestAuthManager::rememberMeSaves()
{
    QFETCH(Start, makeCurrent);
    QFETCH(QJsonObject, record);

    AuthManager manager;
    makeCurrent(manager);
    SignalLog log(manager);

    manager.setRememberMe(true);
    manager.setRememberMe(true);

    QCOMPARE(log.names, QStringList{"rememberMeChanged"});
    QVERIFY(settings()->rememberMe());
    QTRY_COMPARE(savedRecord(), record);
}

void TestAuthManager::onlyTheRefreshTokenIsSaved()
{
    AuthManager manager;
    manager._setCurrentSession(new NimblaLoginOAuthSession(&manager));

    manager.saveSessionState({{"refresh_token", "refresh-x"}, {"access_token", "access-x"}, {"expires_in", 3600}});
    QTRY_COMPARE(savedRecord(),
                 (QJsonObject{{"type", "NimblaOAuth2"}, {"state", QJsonObject{{"refresh_token", "refresh-x"}}}}));

    manager.saveSessionState({{"access_token", "access-x"}});
    QTRY_COMPARE(savedRecord(), (QJsonObject{{"type", "NimblaOAuth2"}, {"state", QJsonObject()}}));
}

void TestAuthManager::signInSavesWhileRemembered()
{
    settings()->setRememberMe(true);
    AuthManager manager;
    manager.loginViaNimblaLoginOAuth(Alice, AlicePassword, false);
    auto *session = qobject_cast<NimblaLoginOAuthSession *>(manager.CurrentSession());
    QSignalSpy finished(session, &AbstractSession::loginFinished);

    QTest::ignoreMessage(QtDebugMsg, "User authorized successfully.");
    QTest::ignoreMessage(QtDebugMsg, "User authorized successfully.");
    QVERIFY(finished.wait(10000));

    const QString refreshToken = session->sessionState().value("refresh_token").toString();
    QVERIFY(refreshToken.startsWith("refresh-"));
    QTRY_COMPARE(savedRecord(),
                 (QJsonObject{{"type", "NimblaOAuth2"}, {"state", QJsonObject{{"refresh_token", refreshToken}}}}));

    // A refresh rotates the token; the record follows it.
    session->refresh();
    QVERIFY(finished.wait(10000));
    const QString rotated = session->sessionState().value("refresh_token").toString();
    QVERIFY(rotated != refreshToken);
    QTRY_COMPARE(savedRecord().value("state").toObject().value("refresh_token").toString(), rotated);
}

void TestAuthManager::anySessionErrorForgets()
{
    const QJsonObject record{{"type", "NimblaOAuth2"}, {"state", QJsonObject{{"refresh_token", "refresh-x"}}}};
    QVERIFY(saveRecord(record));
    settings()->setRememberMe(true);
    AuthManager manager;
    manager.setAutologin(true);
    manager.loginViaNimblaLogin(QStringLiteral("bob-locked@example.com"), QStringLiteral("bob-password"), false);
    QSignalSpy errors(manager.CurrentSession(), &AbstractSession::error);
    SignalLog log(manager);

    QVERIFY(errors.wait(10000));

    QCOMPARE(log.names, QStringList{"isAutologinChanged"});
    QVERIFY(manager.rememberMe());
    QTRY_COMPARE(savedRecord(), QJsonObject());
}

void TestAuthManager::switchingRememberMeOffForgets()
{
    QVERIFY(saveRecord({{"type", "NimblaOAuth2"}, {"state", QJsonObject{{"refresh_token", "refresh-x"}}}}));
    settings()->setRememberMe(true);
    AuthManager manager;
    SignalLog log(manager);

    manager.setRememberMe(false);

    QCOMPARE(log.names, QStringList{"rememberMeChanged"});
    QVERIFY(!settings()->rememberMe());
    QTRY_COMPARE(savedRecord(), QJsonObject());
}

void TestAuthManager::restore_data()
{
    QTest::addColumn<QJsonObject>("record");
    QTest::addColumn<bool>("started");
    QTest::addColumn<QString>("warning");
    QTest::addColumn<QString>("sessionClass");
    QTest::addColumn<QString>("firstRequest");
    QTest::addColumn<bool>("signsIn");
    QTest::addColumn<QJsonObject>("tokenFault"); //!< how the token endpoint fails, if it does

    const QJsonObject remembered{{"type", "NimblaOAuth2"}, {"state", QJsonObject{{"refresh_token", "refresh-kept"}}}};
    // The service out of reach: the player stays remembered for the next start.
    QTest::newRow("NimblaOAuth2, token service failing")
            << remembered << true << "" << "NimblaSDK::NimblaLoginOAuthSession" << projectPath("oauth2/token") << false
            << QJsonObject{{"status", 503}, {"body", "Service Unavailable"}, {"contentType", "text/plain"}};
    QTest::newRow("NimblaOAuth2, token answer cut")
            << remembered << true << "" << "NimblaSDK::NimblaLoginOAuthSession" << projectPath("oauth2/token") << false
            << QJsonObject{{"cutBody", true}, {"status", 200}, {"body", QString(60, QLatin1Char('x'))}};
    QTest::newRow("nothing saved") << QJsonObject() << false << "" << "" << "" << false << QJsonObject();
    QTest::newRow("OAuth2, empty state: browser")
            << QJsonObject{{"type", "OAuth2"}, {"provider", "testbook"}, {"state", QJsonObject()}} << true << ""
            << "NimblaSDK::SocialNetworkOAuthSession" << projectPath("social/testbook/authorize") << true << QJsonObject();
    QTest::newRow("OAuth2, refused refresh token")
            << QJsonObject{{"type", "OAuth2"}, {"provider", "testbook"},
                           {"state", QJsonObject{{"refresh_token", "refresh-unknown"}}}}
            << true << "" << "NimblaSDK::SocialNetworkOAuthSession" << projectPath("oauth2/token") << false << QJsonObject();
    QTest::newRow("NimblaOAuth2, refused refresh token")
            << QJsonObject{{"type", "NimblaOAuth2"}, {"state", QJsonObject{{"refresh_token", "refresh-unknown"}}}}
            << true << "" << "NimblaSDK::NimblaLoginOAuthSession" << projectPath("oauth2/token") << false << QJsonObject();
    QTest::newRow("NimblaOAuth2, empty state")
            << QJsonObject{{"type", "NimblaOAuth2"}, {"state", QJsonObject()}} << true << ""
            << "NimblaSDK::NimblaLoginOAuthSession" << projectPath("oauth2/token") << false << QJsonObject();
    QTest::newRow("Undefined") << QJsonObject{{"type", "Undefined"}, {"state", QJsonObject()}} << false
                               << "Unknown session type: Undefined" << "" << "" << false << QJsonObject();
    QTest::newRow("unknown text") << QJsonObject{{"type", "oauth2"}, {"provider", "testbook"}} << false
                                  << "Unknown session type: oauth2" << "" << "" << false << QJsonObject();
    QTest::newRow("no type") << QJsonObject{{"state", QJsonObject()}} << false << "Unknown session type: " << ""
                             << "" << false << QJsonObject();
}

void TestAuthManager::restore()
{
    QFETCH(QJsonObject, record);
    QFETCH(bool, started);
    QFETCH(QString, warning);
    QFETCH(QString, sessionClass);
    QFETCH(QString, firstRequest);
    QFETCH(bool, signsIn);
    QFETCH(QJsonObject, tokenFault);

    if (!tokenFault.isEmpty())
        m_emulator.injectFault(m_emulator.baseUrl().resolved(QUrl(firstRequest)), tokenFault);
    if (!record.isEmpty())
        QVERIFY(saveRecord(record));
    AuthManager manager;
    SignalLog log(manager);

    if (!record.isEmpty()) {
        QTest::ignoreMessage(QtDebugMsg, qPrintable("Trying to restore last saved session from "
                                                    + QString::fromUtf8(QJsonDocument(record).toJson())));
    }
    if (!warning.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QCOMPARE(manager.tryAutoLogin(), started);

    QCOMPARE(className(manager.CurrentSession()), sessionClass);
    if (!started) {
        QCOMPARE(log.names, QStringList());
        QVERIFY(!manager.isAutologin());
        // An unknown record stays where it is.
        QCOMPARE(savedRecord(), record);
        return;
    }
    QCOMPARE(log.names, (QStringList{"isAutologinChanged", "currentSessionChanged"}));
    QVERIFY(manager.isAutologin());
    QTRY_VERIFY(!m_emulator.requests(firstRequest).isEmpty());
    if (signsIn) {
        QTRY_COMPARE(manager.CurrentSession()->userName(), QStringLiteral("frank"));
        QVERIFY(manager.isAutologin());
    } else if (!tokenFault.isEmpty()) {
        QTRY_VERIFY(!manager.isAutologin());
        QCOMPARE(savedRecord(), record);
        QVERIFY(manager.CurrentSession()->failedTransiently());
    } else {
        // A restore that the service refuses is tried once only.
        QTRY_VERIFY(!manager.isAutologin());
        QTRY_COMPARE(savedRecord(), QJsonObject());
        QVERIFY(!manager.CurrentSession()->failedTransiently());
    }
}

void TestAuthManager::providers_data()
{
    QTest::addColumn<QString>("project");
    QTest::addColumn<bool>("oauth2");
    QTest::addColumn<QStringList>("titles");
    QTest::addColumn<QString>("linkPath");
    QTest::addColumn<bool>("loaded");

    // The seed lists the groups' members as primary, other, secondary.
    const QStringList all{"testbook", "testbook-notoken", "testbook-invalid", "testbook-base64"};
    QTest::newRow("three groups") << "nimbla-demo-project" << false << all << "/login" << true;
    QTest::newRow("three groups, oauth2") << "nimbla-demo-project" << true << all << "/authorize" << true;
    QTest::newRow("empty socialLinks") << "nimbla-emptylinks-project" << true << QStringList() << "" << true;
    QTest::newRow("no socialLinks") << "nimbla-nolinks-project" << true << QStringList() << "" << false;
}

void TestAuthManager::providers()
{
    QFETCH(QString, project);
    QFETCH(bool, oauth2);
    QFETCH(QStringList, titles);
    QFETCH(QString, linkPath);
    QFETCH(bool, loaded);

    useProject(project, {{"oauth2Enabled", oauth2}});
    if (!loaded)
        QTest::ignoreMessage(QtCriticalMsg, "There are no social providers in login settings.");
    AuthManager manager;
    QSignalSpy changed(&manager, &AuthManager::socialProvidersChanged);
    QSignalSpy silent(&manager, &AuthManager::socialProvidersLoaded);

    QVERIFY(changed.wait(10000));

    // With the OAuth2 query, the emulator carries it into each authorisation link.
    const QString oauthQuery = QStringLiteral("?client_id=%1&response_type=code&state=12345678"
                                              "&redirect_uri=http%3A%2F%2Flocalhost%3A8000&scope=offline")
                                       .arg(NApplication::instance().configManager()->oauth2ClientId());
    QVariantList expected;
    for (const QString &title : titles) {
        expected << provider(title, m_emulator.baseUrl().toString()
                                            + QStringLiteral("/projects/%1/social/%2%3").arg(project, title, linkPath)
                                            + (oauth2 ? oauthQuery : QString()));
    }
    QCOMPARE(manager.socialProviders(), expected);
    QCOMPARE(changed.takeFirst().value(0).toList(), expected);
    QCOMPARE(manager.isSocialProvidersLoaded(), loaded);
    QCOMPARE(silent.count(), 0);
}

void TestAuthManager::providerRequest_data()
{
    QTest::addColumn<bool>("oauth2");
    QTest::addColumn<int>("clientId");
    QTest::addColumn<QString>("ownQuery");
    QTest::addColumn<QString>("query");

    const QString oauthItems = QStringLiteral("login_url=http://localhost:8000&redirect_uri=http://localhost:8000"
                                              "&client_id=101&scope=offline&state=12345678&response_type=code");
    QTest::newRow("oauth2") << true << 101 << "" << oauthItems;
    QTest::newRow("oauth2 off") << false << 101 << "" << "";
    QTest::newRow("no client id") << true << 0 << "" << "";
    QTest::newRow("own query off") << false << 101 << "login_url=x&state=s" << "login_url=x&state=s";
    // login_url is replaced; the other items are added after what is there.
    QTest::newRow("own query") << true << 101 << "login_url=x&state=s&lang=en"
                               << "state=s&lang=en&" + oauthItems;
}

void TestAuthManager::providerRequest()
{
    QFETCH(bool, oauth2);
    QFETCH(int, clientId);
    QFETCH(QString, ownQuery);
    QFETCH(QString, query);

    QUrl listUrl(NApplication::instance().urlsManager()->socialNetworksListUrl());
    listUrl.setQuery(ownQuery);
    QVERIFY(m_emulator.loadConfig({{"oauth2Enabled", oauth2},
                                   {"oauth2ClientId", clientId},
                                   {"urls", QJsonObject{{"socialNetworksListUrl", listUrl.toString()}}}}));

    AuthManager manager;
    QSignalSpy changed(&manager, &AuthManager::socialProvidersChanged);
    QCOMPARE(manager.isOAuth2Available(), oauth2 && clientId > 0);
    QVERIFY(changed.wait(10000));

    const QJsonArray requests = m_emulator.requests(listUrl.path());
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.at(0).toObject().value("method").toString(), QStringLiteral("GET"));
    QCOMPARE(requests.at(0).toObject().value("query").toString(), query);
}

void TestAuthManager::failedProviderDownload_data()
{
    QTest::addColumn<QString>("project");
    QTest::addColumn<bool>("drop");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<int>("providersBefore");

    QTest::newRow("error status") << "nimbla-linkserror-project" << false
                                  << int(QNetworkReply::ServiceUnavailableError) << "Service Unavailable" << 0;
    QTest::newRow("dropped after a loaded list") << "nimbla-demo-project" << true
                                                 << int(QNetworkReply::RemoteHostClosedError) << "" << 4;
}

void TestAuthManager::failedProviderDownload()
{
    QFETCH(QString, project);
    QFETCH(bool, drop);
    QFETCH(int, code);
    QFETCH(QString, reason);
    QFETCH(int, providersBefore);

    useProject(project, {{"oauth2Enabled", false}});
    const QString url = NApplication::instance().urlsManager()->socialNetworksListUrl();
    const QString errorText = drop ? QStringLiteral("Connection closed")
                                   : QStringLiteral("Error transferring %1 - server replied: %2").arg(url, reason);
    const QString details =
            QStringLiteral("Failed load social providers. Error code: %1; erro msg: %2").arg(code).arg(errorText);
    QTest::ignoreMessage(QtCriticalMsg, qPrintable(details));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^\\[authorization\\] Failed download social providers - "));

    // With the project that fails, the constructor's download is the failing one.
    auto manager = std::make_unique<AuthManager>();
    QSignalSpy errors(manager.get(), &AuthManager::error);
    QSignalSpy changed(manager.get(), &AuthManager::socialProvidersChanged);
    if (drop) {
        QVERIFY(changed.wait(10000));
        changed.clear();
        m_emulator.injectFault(QUrl(url), {{"drop", true}});
        manager->downloadSocialProviders();
    }

    QVERIFY(errors.wait(10000));
    QCOMPARE(errors.takeFirst().value(0).toString(), QStringLiteral("Failed download social providers"));
    QCOMPARE(errorReports(), QStringList{"Failed download social providers | " + details + " | " + url + " | authorization"});
    QCOMPARE(changed.count(), 0);
    QCOMPARE(manager->socialProviders().size(), providersBefore);
    QCOMPARE(manager->isSocialProvidersLoaded(), providersBefore > 0);
}

void TestAuthManager::otp_data()
{
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<QString>("sessionClass");
    QTest::addColumn<bool>("remembered");

    QTest::newRow("jwt") << "jwt" << "NimblaSDK::NimblaLoginSession" << false;
    QTest::newRow("jwt and oauth2") << "jwt-and-oauth2" << "NimblaSDK::NimblaLoginSession" << false;
    QTest::newRow("oauth2") << "oauth2" << "NimblaSDK::NimblaLoginOAuthSession" << true;
    QTest::newRow("access token only") << "access-token-only" << "" << false;
    QTest::newRow("not json") << "not-json" << "" << false;
    QTest::newRow("error status") << "error" << "" << false;
    QTest::newRow("used already") << "used" << "" << false;
}

void TestAuthManager::otp()
{
    QFETCH(QString, outcome);
    QFETCH(QString, sessionClass);
    QFETCH(bool, remembered);

    QString otp;
    if (outcome == QLatin1String("used")) {
        otp = freshOtp("jwt");
        m_emulator.adminGet(QUrl(NApplication::instance().urlsManager()->exchangeOtpUrl().arg(otp)).toString());
    } else {
        otp = freshOtp(outcome);
    }
    leaveOtp(otp);
    AuthManager manager;
    SignalLog log(manager);

    QTest::ignoreMessage(QtDebugMsg, qPrintable("OTP is found: " + otp));
    if (sessionClass.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, "OTP Exchange finished with error.");
    QVERIFY(manager.tryLoginWithOtp());
    QVERIFY(manager.isAutologin());

    // Used once, whatever came of it.
    QTRY_COMPARE(leftOtp(), QString());
    if (sessionClass.isEmpty()) {
        QTRY_VERIFY(!manager.isAutologin());
        QCOMPARE(manager.CurrentSession(), nullptr);
        QCOMPARE(log.names, (QStringList{"isAutologinChanged", "isAutologinChanged"}));
        QVERIFY(!manager.rememberMe());
        return;
    }
    QTRY_VERIFY(manager.CurrentSession());
    QCOMPARE(className(manager.CurrentSession()), sessionClass);
    QTRY_COMPARE(manager.CurrentSession()->userName(), QStringLiteral("alice"));
    QVERIFY(manager.isAutologin());
    QCOMPARE(manager.rememberMe(), remembered);
    QCOMPARE(settings()->rememberMe(), remembered);
    if (remembered) {
        const QJsonObject state = qobject_cast<AbstactOAuthSession *>(manager.CurrentSession())->sessionState();
        QTRY_COMPARE(savedRecord(), (QJsonObject{{"type", "NimblaOAuth2"},
                                                 {"state", QJsonObject{{"refresh_token", state.value("refresh_token")}}}}));
    } else {
        // The ready token is checked at the attributes endpoint before it is accepted.
        const QJsonArray checks = m_emulator.requests("/attributes/get");
        QCOMPARE(checks.size(), 1);
        QCOMPARE(checks.at(0).toObject().value("headers").toObject().value("authorization").toString(),
                 "Bearer " + manager.CurrentSession()->jwt());
        QCOMPARE(savedRecord(), QJsonObject());
    }
}

void TestAuthManager::emptyOtpCountsAsNone()
{
    leaveOtp(QString());
    AuthManager manager;
    SignalLog log(manager);

    QTest::ignoreMessage(QtDebugMsg, "No OTP is found.");
    QVERIFY(!manager.tryLoginWithOtp());
    QVERIFY(!manager.isAutologin());
    QCOMPARE(log.names, QStringList());
    QVERIFY(m_emulator.requests(projectPath("otp/exchange")).isEmpty());
}

void TestAuthManager::otpOverOAuth2WhileItIsOff()
{
    QVERIFY(m_emulator.loadConfig({{"oauth2Enabled", false}}));
    leaveOtp(freshOtp("oauth2"));
    AuthManager manager;
    SignalLog log(manager);

    QVERIFY(manager.tryLoginWithOtp());

    // The empty error only says that OAuth2 is off; the tokens are used all the same.
    QTRY_VERIFY(manager.CurrentSession());
    QTRY_COMPARE(manager.CurrentSession()->userName(), QStringLiteral("alice"));
    QCOMPARE(log.names, (QStringList{"isAutologinChanged", "error:", "rememberMeChanged", "currentSessionChanged"}));
}

QTEST_MAIN(TestAuthManager)
#include "tst_authmanager.moc"
