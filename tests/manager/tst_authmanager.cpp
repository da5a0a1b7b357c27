#include "authmanager.h"
#include "errorlogger.h"
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

    void rememberMe_data();
    void rememberMe();

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
    QJsonObject body{{"otp", otp}, {"outcome", outcome}, {"user", Alice}};
    if (outcome == QLatin1String("error"))
        body.insert("status", 500);
    m_emulator.adminSend("POST", QStringLiteral("/admin/otp"), body);
    return otp;
}

void TestAuthManager::entryPoints_data()
{
    QTest::addColumn<Start>("start");
    QTest::addColumn<QString>("sessionClass"); //!< empty: no session
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QString>("firstRequest");
    QTest::addColumn<bool>("replaced");

    const QVariantMap none;
    const auto row = [](const char *tag, Start start, const char *sessionClass, const QVariantMap &properties,
                        const QString &firstRequest, bool replaced = true) {
        QTest::newRow(tag) << start << QString::fromLatin1(sessionClass) << properties << firstRequest << replaced;
    };
    const QString settings = projectPath("widget-settings");
    row("password, form", [](AuthManager &m) { m.loginViaNimblaLogin(); }, "NimblaSDK::NimblaLoginSession", none, settings);
    row("password", [](AuthManager &m) { m.loginViaNimblaLogin(Alice, AlicePassword, true); }, "NimblaSDK::NimblaLoginSession",
        {{"login", Alice}, {"password", AlicePassword}, {"rememberMe", true}}, settings);
    row("oauth2 password, form", [](AuthManager &m) { m.loginViaNimblaLoginOAuth(); }, "NimblaSDK::NimblaLoginOAuthSession",
        none, settings);
    row("oauth2 password", [](AuthManager &m) { m.loginViaNimblaLoginOAuth(Alice, AlicePassword, false); },
        "NimblaSDK::NimblaLoginOAuthSession", {{"login", Alice}, {"password", AlicePassword}, {"rememberMe", false}},
        settings);
    row("oauth2 password, restored",
        [](AuthManager &m) { m.loginViaNimblaLoginOAuth(QJsonObject{{"refresh_token", "refresh-x"}}); },
        "NimblaSDK::NimblaLoginOAuthSession", none, projectPath("oauth2/token"));
    row("ready jwt", [](AuthManager &m) { m.loginViaJwt(); }, "NimblaSDK::JwtLoginSession", none, "/jwt/validate");
    const QString socialLink = m_emulator.baseUrl().toString() + projectPath("social/testbook/login");
    row("social", [socialLink](AuthManager &m) { m.loginViaSocialNetwork(socialLink); }, "NimblaSDK::SocialNetworkSession",
        none, projectPath("social/testbook/login"));
    row("social oauth2", [](AuthManager &m) { m.loginViaSocialNetworkOAuth("testbook"); },
        "NimblaSDK::SocialNetworkOAuthSession", none, projectPath("social/testbook/authorize"));
    row("social oauth2, restored",
        [](AuthManager &m) { m.loginViaSocialNetworkOAuth("testbook", {{"refresh_token", "refresh-x"}}); },
        "NimblaSDK::SocialNetworkOAuthSession", none, projectPath("oauth2/token"));
    const QString jwt = m_emulator.token(Alice);
    row("jwt of a one-time password", [jwt](AuthManager &m) { m.loginWithOtp(jwt); }, "NimblaSDK::NimblaLoginSession",
        {{"singleTimeAccessToken", jwt}}, settings);
    row("no session", [](AuthManager &m) { m._setCurrentSession(nullptr); }, "", none, "");
    row("the same session", [](AuthManager &m) { m._setCurrentSession(m.CurrentSession()); },
        "NimblaSDK::NimblaLoginSession", none, "", false);
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
    // Logged out when replaced: a password session forgets the saved account.
    QTRY_COMPARE(readCredential(account).userName, replaced ? QString() : Alice);
    AbstractSession *session = manager.CurrentSession();
    QCOMPARE(className(session), sessionClass);
    if (!session)
        return;
    QCOMPARE(session->parent(), &manager);
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

void TestAuthManager::rememberMe_data()
{
    QTest::addColumn<Start>("makeCurrent");
    QTest::addColumn<bool>("on");
    QTest::addColumn<QJsonObject>("record");

    const auto plain = [](auto make) { return Start([make](AuthManager &m) { m._setCurrentSession(make(&m)); }); };
    // An OAuth2 session with \a state: a social one of \a provider, or the password one.
    const auto oauthSession = [](const QString &provider, const QJsonObject &state) {
        return Start([provider, state](AuthManager &m) {
            auto *session = provider.isEmpty() ? static_cast<AbstactOAuthSession *>(new NimblaLoginOAuthSession(&m))
                                               : new SocialNetworkOAuthSession(provider, &m);
            session->setSessionState(state);
            m._setCurrentSession(session);
        });
    };
    QTest::newRow("password") << plain([](AuthManager *m) { return new NimblaLoginSession(m); }) << true << QJsonObject();
    QTest::newRow("ready jwt") << plain([](AuthManager *m) { return new JwtLoginSession(m); }) << true << QJsonObject();
    QTest::newRow("social") << plain([](AuthManager *m) { return new SocialNetworkSession(m); }) << true << QJsonObject();
    QTest::newRow("none") << Start([](AuthManager &) {}) << true << QJsonObject();
    // Only the refresh token is kept: restoring means refreshing.
    const QJsonObject tokens{{"access_token", "access-x"}, {"refresh_token", "refresh-x"}, {"expires_in", 3600}};
    const QJsonObject kept{{"refresh_token", "refresh-x"}};
    QTest::newRow("oauth2 password") << oauthSession({}, tokens) << true
                                     << QJsonObject{{"type", "NimblaOAuth2"}, {"state", kept}};
    QTest::newRow("social oauth2") << oauthSession("testbook", tokens) << true
                                   << QJsonObject{{"type", "OAuth2"}, {"provider", "testbook"}, {"state", kept}};
    QTest::newRow("switched off") << oauthSession({}, tokens) << false << QJsonObject();
}

void TestAuthManager::rememberMe()
{
    QFETCH(Start, makeCurrent);
    QFETCH(bool, on);
    QFETCH(QJsonObject, record);

    // Switched off, it forgets what an earlier start remembered.
    if (!on) {
        QVERIFY(saveRecord({{"type", "NimblaOAuth2"}, {"state", QJsonObject{{"refresh_token", "refresh-x"}}}}));
        settings()->setRememberMe(true);
    }
    AuthManager manager;
    makeCurrent(manager);
    SignalLog log(manager);

    manager.setRememberMe(on);
    manager.setRememberMe(on);

    QCOMPARE(log.names, QStringList{"rememberMeChanged"});
    QCOMPARE(settings()->rememberMe(), on);
    QTRY_COMPARE(savedRecord(), record);
}

void TestAuthManager::restore_data()
{
    QTest::addColumn<QJsonObject>("record");
    QTest::addColumn<QString>("sessionClass"); //!< empty: nothing starts
    QTest::addColumn<QString>("firstRequest");
    QTest::addColumn<QJsonObject>("tokenFault"); //!< how the token endpoint fails, if it does

    const QString token = projectPath("oauth2/token");
    const QString password = QStringLiteral("NimblaSDK::NimblaLoginOAuthSession");
    const QString social = QStringLiteral("NimblaSDK::SocialNetworkOAuthSession");
    const auto record = [](const char *type, const QJsonObject &state, const char *provider = nullptr) {
        QJsonObject object{{"type", type}, {"state", state}};
        if (provider)
            object.insert("provider", provider);
        return object;
    };
    const QJsonObject kept{{"refresh_token", "refresh-kept"}};
    const QJsonObject unknown{{"refresh_token", "refresh-unknown"}};
    // The service out of reach: the player stays remembered for the next start.
    QTest::newRow("NimblaOAuth2, token service failing")
            << record("NimblaOAuth2", kept) << password << token
            << QJsonObject{{"status", 503}, {"body", "Service Unavailable"}, {"contentType", "text/plain"}};
    QTest::newRow("NimblaOAuth2, token answer cut")
            << record("NimblaOAuth2", kept) << password << token
            << QJsonObject{{"cutBody", true}, {"status", 200}, {"body", QString(60, QLatin1Char('x'))}};
    QTest::newRow("OAuth2, empty state: browser") << record("OAuth2", {}, "testbook") << social
                                                  << projectPath("social/testbook/authorize") << QJsonObject();
    QTest::newRow("OAuth2, refused refresh token") << record("OAuth2", unknown, "testbook") << social << token << QJsonObject();
    QTest::newRow("NimblaOAuth2, refused refresh token") << record("NimblaOAuth2", unknown) << password << token << QJsonObject();
    QTest::newRow("NimblaOAuth2, empty state") << record("NimblaOAuth2", {}) << password << token << QJsonObject();
    QTest::newRow("nothing saved") << QJsonObject() << "" << "" << QJsonObject();
    QTest::newRow("Undefined") << record("Undefined", {}) << "" << "" << QJsonObject();
    QTest::newRow("unknown text") << record("oauth2", {}, "testbook") << "" << "" << QJsonObject();
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
    // A restore that fails is tried once only; only one that the service refused is forgotten.
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
    QCOMPARE(requests.at(0)["method"].toString(), QStringLiteral("GET"));
    QCOMPARE(requests.at(0)["query"].toString(), query);
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
    QTest::addColumn<bool>("oauth2Enabled");
    QTest::addColumn<QString>("sessionClass"); //!< empty: the exchange fails
    QTest::addColumn<QStringList>("emitted");

    // What the exchanger makes of each answer is its own suite's; here, what the manager does with it.
    const QString password = QStringLiteral("NimblaSDK::NimblaLoginSession");
    const QString oauth = QStringLiteral("NimblaSDK::NimblaLoginOAuthSession");
    QTest::newRow("jwt") << "jwt" << true << password << QStringList{"isAutologinChanged", "currentSessionChanged"};
    QTest::newRow("oauth2") << "oauth2" << true << oauth
                            << QStringList{"isAutologinChanged", "rememberMeChanged", "currentSessionChanged"};
    // The empty error only says that OAuth2 is off; the tokens are used all the same.
    QTest::newRow("oauth2 while it is off")
            << "oauth2" << false << oauth
            << QStringList{"isAutologinChanged", "error:", "rememberMeChanged", "currentSessionChanged"};
    QTest::newRow("used already") << "used" << true << "" << QStringList{"isAutologinChanged", "isAutologinChanged"};
}

void TestAuthManager::otp()
{
    QFETCH(QString, outcome);
    QFETCH(bool, oauth2Enabled);
    QFETCH(QString, sessionClass);
    QFETCH(QStringList, emitted);

    if (!oauth2Enabled)
        QVERIFY(m_emulator.loadConfig({{"oauth2Enabled", false}}));
    const QString otp = freshOtp(outcome == QLatin1String("used") ? QStringLiteral("jwt") : outcome);
    if (outcome == QLatin1String("used"))
        m_emulator.adminGet(QUrl(NApplication::instance().urlsManager()->exchangeOtpUrl().arg(otp)).toString());
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
    QTRY_COMPARE(log.names, emitted);
    const bool remembered = sessionClass == QLatin1String("NimblaSDK::NimblaLoginOAuthSession");
    QCOMPARE(manager.rememberMe(), remembered);
    QCOMPARE(settings()->rememberMe(), remembered);
    QCOMPARE(manager.isAutologin(), !sessionClass.isEmpty());
    QCOMPARE(className(manager.CurrentSession()), sessionClass);
    if (sessionClass.isEmpty())
        return;
    QTRY_COMPARE(manager.CurrentSession()->userName(), QStringLiteral("alice"));
    if (remembered) {
        const QJsonObject state = qobject_cast<AbstactOAuthSession *>(manager.CurrentSession())->sessionState();
        QTRY_COMPARE(savedRecord(), (QJsonObject{{"type", "NimblaOAuth2"},
                                                 {"state", QJsonObject{{"refresh_token", state.value("refresh_token")}}}}));
        return;
    }
    // The ready token is checked at the attributes endpoint before it is accepted.
    const QJsonArray checks = m_emulator.requests("/attributes/get");
    QCOMPARE(checks.size(), 1);
    QCOMPARE(checks.at(0)["headers"]["authorization"].toString(), "Bearer " + manager.CurrentSession()->jwt());
    QCOMPARE(savedRecord(), QJsonObject());
}

void TestAuthManager::emptyOtpCountsAsNone()
{
    AuthManager manager;
    SignalLog log(manager);

    QTest::ignoreMessage(QtDebugMsg, "No OTP is found.");
    QVERIFY(!manager.tryLoginWithOtp());
    QVERIFY(!manager.isAutologin());
    QCOMPARE(log.names, QStringList());
    QVERIFY(m_emulator.requests(projectPath("otp/exchange")).isEmpty());
}

QTEST_MAIN(TestAuthManager)
#include "tst_authmanager.moc"
