#include "authmanager.h"
#include "napplication.h"
#include "sessions/jwtloginsession.h"
#include "sessions/nimblaloginoauthsession.h"
#include "sessions/nimblaloginsession.h"
#include "sessions/socialnetworkoauthsession.h"
#include "sessions/socialnetworksession.h"
#include "storage/credentials.h"

#include "emulatorsuite.h"
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
const QJsonObject Remembered{{"type", "NimblaOAuth2"}, {"state", QJsonObject{{"refresh_token", "refresh-x"}}}};

SDKSettings *settings()
{
    return NApplication::instance().settingsManager();
}

QString projectPath(const QString &rest)
{
    return QStringLiteral("/projects/nimbla-demo-project/") + rest;
}

//! Without the namespace; empty for none.
QString className(const QObject *object)
{
    return object ? QString::fromLatin1(object->metaObject()->className()).remove(QStringLiteral("NimblaSDK::")) : QString();
}

} // namespace

Q_DECLARE_METATYPE(Start)

class TestAuthManager : public EmulatorSuite
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void entryPoints_data();
    void entryPoints();
    void logout_data();
    void logout();
    void restore_data();
    void restore();

    void providers_data();
    void providers();
    void providerRequest_data();
    void providerRequest();

    void otp_data();
    void otp();

private:
    void useProject(const QString &project, const QJsonObject &overrides = {});
    QString freshOtp(const QString &outcome);

    std::unique_ptr<SimulatedBrowser> m_browser;
    int m_otpCounter = 0;
};

void TestAuthManager::init()
{
    EmulatorSuite::init();
    removeRecord();
    settings()->setRememberMe(false);
    settings()->settingsSync();
    leaveOtp(QString());
    deleteCredential(NApplication::instance().appAccountName());
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
    m_emulator.adminSend("POST", QStringLiteral("/admin/otp"), {{"otp", otp}, {"outcome", outcome}, {"user", Alice}});
    return otp;
}

void TestAuthManager::entryPoints_data()
{
    QTest::addColumn<Start>("start");
    QTest::addColumn<QString>("sessionClass"); //!< empty: no session
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QString>("firstRequest");
    QTest::addColumn<bool>("replaced");

    const auto row = [](const char *tag, Start start, const char *sessionClass, const QString &firstRequest,
                        const QVariantMap &properties = {}, bool replaced = true) {
        QTest::newRow(tag) << start << QString::fromLatin1(sessionClass) << properties << firstRequest << replaced;
    };
    const QString settings = projectPath("widget-settings");
    const QString token = projectPath("oauth2/token");
    row("password", [](AuthManager &m) { m.loginViaNimblaLogin(Alice, AlicePassword, true); }, "NimblaLoginSession",
        settings, {{"login", Alice}, {"password", AlicePassword}, {"rememberMe", true}});
    row("oauth2 password", [](AuthManager &m) { m.loginViaNimblaLoginOAuth(Alice, AlicePassword, false); },
        "NimblaLoginOAuthSession", settings, {{"login", Alice}, {"password", AlicePassword}, {"rememberMe", false}});
    row("oauth2 password, restored", [](AuthManager &m) { m.loginViaNimblaLoginOAuth(QJsonObject{{"refresh_token", "r"}}); },
        "NimblaLoginOAuthSession", token);
    row("ready jwt", [](AuthManager &m) { m.loginViaJwt(); }, "JwtLoginSession", "/jwt/validate");
    const QString link = m_emulator.baseUrl().toString() + projectPath("social/testbook/login");
    row("social", [link](AuthManager &m) { m.loginViaSocialNetwork(link); }, "SocialNetworkSession",
        projectPath("social/testbook/login"));
    row("social oauth2", [](AuthManager &m) { m.loginViaSocialNetworkOAuth("testbook"); }, "SocialNetworkOAuthSession",
        projectPath("social/testbook/authorize"));
    row("social oauth2, restored", [](AuthManager &m) { m.loginViaSocialNetworkOAuth("testbook", {{"refresh_token", "r"}}); },
        "SocialNetworkOAuthSession", token);
    const QString jwt = m_emulator.token(Alice);
    row("jwt of a one-time password", [jwt](AuthManager &m) { m.loginWithOtp(jwt); }, "NimblaLoginSession", settings,
        {{"singleTimeAccessToken", jwt}});
    row("no session", [](AuthManager &m) { m._setCurrentSession(nullptr); }, "", "");
    row("the same session", [](AuthManager &m) { m._setCurrentSession(m.CurrentSession()); }, "NimblaLoginSession", "",
        {}, false);
}

void TestAuthManager::entryPoints()
{
    QFETCH(Start, start);
    QFETCH(QString, sessionClass);
    QFETCH(QVariantMap, properties);
    QFETCH(QString, firstRequest);
    QFETCH(bool, replaced);

    settings()->setJWT(m_emulator.token(Alice));
    AuthManager manager;
    manager.loginViaNimblaLogin();
    QSignalSpy destroyed(manager.CurrentSession(), &QObject::destroyed);
    const QString account = NApplication::instance().appAccountName();
    QVERIFY(writeCredential({account, Alice, AlicePassword}));
    SignalLog log(manager);

    start(manager);

    // Deleted before the call returns, not at the next turn of the event loop.
    QCOMPARE(destroyed.count(), replaced ? 1 : 0);
    QCOMPARE(log.names, replaced ? QStringList{"currentSessionChanged"} : QStringList());
    // Logged out when replaced: a password session forgets the saved account. A session that
    // stays goes on with its sign-in, whose outcome is not this test's.
    if (replaced)
        QTRY_COMPARE(readCredential(account).userName, QString());
    AbstractSession *session = manager.CurrentSession();
    QCOMPARE(className(session), sessionClass);
    QVERIFY(!session || session->parent() == &manager);
    for (auto it = properties.begin(); it != properties.end(); ++it)
        QCOMPARE(session->property(it.key().toLatin1()), it.value());
    if (!firstRequest.isEmpty())
        QTRY_VERIFY(!m_emulator.requests(firstRequest).isEmpty());
}

void TestAuthManager::logout_data()
{
    QTest::addColumn<bool>("rememberMe");
    QTest::addColumn<bool>("autologin");
    QTest::addColumn<bool>("withSession");

    for (int on = 0; on < 8; ++on) {
        QTest::addRow("remember %s, autologin %s, %s", on & 4 ? "on" : "off", on & 2 ? "on" : "off",
                      on & 1 ? "signed in" : "no session")
                << bool(on & 4) << bool(on & 2) << bool(on & 1);
    }
}

void TestAuthManager::logout()
{
    QFETCH(bool, rememberMe);
    QFETCH(bool, autologin);
    QFETCH(bool, withSession);

    QVERIFY(saveRecord(Remembered));
    settings()->setRememberMe(rememberMe);
    AuthManager manager;
    QCOMPARE(manager.rememberMe(), rememberMe);
    manager.setAutologin(autologin);
    if (withSession)
        manager.loginViaNimblaLogin();
    QPointer<AbstractSession> session = manager.CurrentSession();
    SignalLog log(manager);

    QTest::ignoreMessage(QtDebugMsg, "AuthManager logout");
    manager.logout();

    // Only what was on is announced as switched off.
    QStringList emitted;
    if (rememberMe)
        emitted << "rememberMeChanged";
    if (autologin)
        emitted << "isAutologinChanged";
    QCOMPARE(log.names, emitted);
    // Switched off again, it has nothing to announce.
    manager.setRememberMe(false);
    QCOMPARE(log.names, emitted);
    QVERIFY(!session);
    QCOMPARE(manager.CurrentSession(), nullptr);
    QVERIFY(!manager.rememberMe() && !manager.isAutologin() && !settings()->rememberMe());
    // Only a remembered session is forgotten.
    QTRY_COMPARE(savedRecord(), rememberMe ? QJsonObject() : Remembered);
}

void TestAuthManager::restore_data()
{
    QTest::addColumn<QJsonObject>("record");
    QTest::addColumn<QString>("sessionClass"); //!< empty: nothing starts
    QTest::addColumn<QString>("firstRequest");
    QTest::addColumn<QJsonObject>("tokenFault"); //!< how the token endpoint fails, if it does

    const QString token = projectPath("oauth2/token");
    const auto record = [](const char *type, const char *refreshToken, const char *provider = nullptr) {
        QJsonObject object{{"type", type},
                           {"state", refreshToken ? QJsonObject{{"refresh_token", refreshToken}} : QJsonObject()}};
        if (provider)
            object.insert("provider", provider);
        return object;
    };
    // The service out of reach: the player stays remembered for the next start. 500 is the first of the 5xx.
    for (const int status : {503, 500}) {
        QTest::addRow("NimblaOAuth2, token service failing with %d", status)
                << record("NimblaOAuth2", "refresh-kept") << "NimblaLoginOAuthSession" << token
                << QJsonObject{{"status", status}, {"body", "failing"}, {"contentType", "text/plain"}};
    }
    QTest::newRow("NimblaOAuth2, token answer cut")
            << record("NimblaOAuth2", "refresh-kept") << "NimblaLoginOAuthSession" << token
            << QJsonObject{{"cutBody", true}, {"status", 200}, {"body", QString(60, QLatin1Char('x'))}};
    QTest::newRow("OAuth2, empty state: browser") << record("OAuth2", nullptr, "testbook") << "SocialNetworkOAuthSession"
                                                  << projectPath("social/testbook/authorize") << QJsonObject();
    QTest::newRow("OAuth2, refused refresh token")
            << record("OAuth2", "refresh-unknown", "testbook") << "SocialNetworkOAuthSession" << token << QJsonObject();
    QTest::newRow("NimblaOAuth2, refused refresh token")
            << record("NimblaOAuth2", "refresh-unknown") << "NimblaLoginOAuthSession" << token << QJsonObject();
    QTest::newRow("NimblaOAuth2, empty state") << record("NimblaOAuth2", nullptr) << "NimblaLoginOAuthSession" << token
                                               << QJsonObject();
    QTest::newRow("nothing saved") << QJsonObject() << "" << "" << QJsonObject();
    QTest::newRow("Undefined") << record("Undefined", nullptr) << "" << "" << QJsonObject();
    QTest::newRow("unknown text") << record("oauth2", nullptr, "testbook") << "" << "" << QJsonObject();
    QTest::newRow("no type") << QJsonObject{{"state", QJsonObject()}} << "" << "" << QJsonObject();
}

void TestAuthManager::restore()
{
    QFETCH(QJsonObject, record);
    QFETCH(QString, sessionClass);
    QFETCH(QString, firstRequest);
    QFETCH(QJsonObject, tokenFault);

    if (!tokenFault.isEmpty())
        m_emulator.injectFault(m_emulator.baseUrl().resolved(QUrl(firstRequest)), tokenFault);
    if (!record.isEmpty()) {
        QVERIFY(saveRecord(record));
        QTest::ignoreMessage(QtDebugMsg, qPrintable("Trying to restore last saved session from "
                                                    + QString::fromUtf8(QJsonDocument(record).toJson())));
        if (sessionClass.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, qPrintable("Unknown session type: " + record.value("type").toString()));
    }
    AuthManager manager;
    SignalLog log(manager);

    QCOMPARE(manager.tryAutoLogin(), !sessionClass.isEmpty());
    QCOMPARE(className(manager.CurrentSession()), sessionClass);
    if (sessionClass.isEmpty()) {
        QCOMPARE(log.names, QStringList());
        QVERIFY(!manager.isAutologin());
        // An unknown record stays where it is.
        QCOMPARE(savedRecord(), record);
        return;
    }
    QCOMPARE(log.names, (QStringList{"isAutologinChanged", "currentSessionChanged"}));
    QTRY_VERIFY(!m_emulator.requests(firstRequest).isEmpty());
    if (firstRequest != projectPath("oauth2/token")) {
        QTRY_COMPARE(manager.CurrentSession()->userName(), QStringLiteral("frank"));
        QVERIFY(manager.isAutologin());
        return;
    }
    // A restore that fails is tried once only, without the browser; only one that the service refused is forgotten.
    QTRY_VERIFY(!manager.isAutologin());
    QCOMPARE(log.names, (QStringList{"isAutologinChanged", "currentSessionChanged", "isAutologinChanged"}));
    QCOMPARE(manager.CurrentSession()->failedTransiently(), !tokenFault.isEmpty());
    QCOMPARE(m_browser->opened().size(), 0);
    QTRY_COMPARE(savedRecord(), tokenFault.isEmpty() ? QJsonObject() : record);
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
        const QString link = QStringLiteral("/projects/%1/social/%2%3").arg(project, title, linkPath);
        expected << QVariantMap{{"title", title}, {"link", m_emulator.baseUrl().toString() + link + (oauth2 ? oauthQuery : "")}};
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
    QTest::newRow("own query") << true << 101 << "login_url=x&state=s&lang=en" << "state=s&lang=en&" + oauthItems;
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
    QCOMPARE(requests.at(0)["method"].toString(), QStringLiteral("GET"));
    QCOMPARE(requests.at(0)["query"].toString(), query);
}

void TestAuthManager::otp_data()
{
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<bool>("oauth2Enabled");
    QTest::addColumn<QString>("sessionClass"); //!< empty: the exchange fails
    QTest::addColumn<QStringList>("emitted");

    // What the exchanger makes of each answer is its own suite's; here, what the manager does with it.
    QTest::newRow("jwt") << "jwt" << true << "NimblaLoginSession"
                         << QStringList{"isAutologinChanged", "currentSessionChanged"};
    QTest::newRow("oauth2") << "oauth2" << true << "NimblaLoginOAuthSession"
                            << QStringList{"isAutologinChanged", "rememberMeChanged", "currentSessionChanged"};
    // The empty error only says that OAuth2 is off; the tokens are used all the same.
    QTest::newRow("oauth2 while it is off")
            << "oauth2" << false << "NimblaLoginOAuthSession"
            << QStringList{"isAutologinChanged", "error:", "rememberMeChanged", "currentSessionChanged"};
    QTest::newRow("used already") << "used" << true << "" << QStringList{"isAutologinChanged", "isAutologinChanged"};
    QTest::newRow("none") << "" << true << "" << QStringList();
}

void TestAuthManager::otp()
{
    QFETCH(QString, outcome);
    QFETCH(bool, oauth2Enabled);
    QFETCH(QString, sessionClass);
    QFETCH(QStringList, emitted);

    if (!oauth2Enabled)
        QVERIFY(m_emulator.loadConfig({{"oauth2Enabled", false}}));
    const bool used = outcome == QLatin1String("used");
    const QString otp = outcome.isEmpty() ? QString() : freshOtp(used ? QStringLiteral("jwt") : outcome);
    if (used)
        m_emulator.adminGet(QUrl(NApplication::instance().urlsManager()->exchangeOtpUrl().arg(otp)).toString());
    leaveOtp(otp);
    AuthManager manager;
    SignalLog log(manager);

    if (otp.isEmpty()) {
        QTest::ignoreMessage(QtDebugMsg, "No OTP is found.");
        QVERIFY(!manager.tryLoginWithOtp());
        QVERIFY(!manager.isAutologin());
        QCOMPARE(log.names, QStringList());
        QVERIFY(m_emulator.requests(projectPath("otp/exchange")).isEmpty());
        return;
    }
    QTest::ignoreMessage(QtDebugMsg, qPrintable("OTP is found: " + otp));
    if (used)
        QTest::ignoreMessage(QtWarningMsg, "OTP Exchange finished with error.");
    QVERIFY(manager.tryLoginWithOtp());
    QVERIFY(manager.isAutologin());

    // Used once, whatever came of it.
    QTRY_COMPARE(leftOtp(), QString());
    QTRY_COMPARE(log.names, emitted);
    QCOMPARE(className(manager.CurrentSession()), sessionClass);
    QCOMPARE(manager.isAutologin(), !used);
    const auto *oauth = qobject_cast<AbstactOAuthSession *>(manager.CurrentSession());
    QCOMPARE(manager.rememberMe(), oauth != nullptr);
    QCOMPARE(settings()->rememberMe(), oauth != nullptr);
    if (used)
        return;
    QTRY_COMPARE(manager.CurrentSession()->userName(), QStringLiteral("alice"));
    if (oauth) {
        const QJsonValue refreshToken = oauth->sessionState().value("refresh_token");
        QTRY_COMPARE(savedRecord(),
                     (QJsonObject{{"type", "NimblaOAuth2"}, {"state", QJsonObject{{"refresh_token", refreshToken}}}}));
        return;
    }
    // The ready token is checked at the attributes endpoint before it is accepted.
    const QJsonArray checks = m_emulator.requests("/attributes/get");
    QCOMPARE(checks.size(), 1);
    QCOMPARE(checks.at(0)["headers"]["authorization"].toString(), "Bearer " + manager.CurrentSession()->jwt());
    QCOMPARE(savedRecord(), QJsonObject());
}

QTEST_MAIN(TestAuthManager)
#include "tst_authmanager.moc"
