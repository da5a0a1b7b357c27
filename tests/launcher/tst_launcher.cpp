// The demo launcher's QML as a player uses it, against the emulator, the real
// keyring and a browser that follows the service's redirects.
#include "launcherdriver.h"

#include "emulatorfixture.h"
#include "managersupport.h"
#include "napplication.h"
#include "simulatedbrowser.h"
#include "testenvironment.h"

#include <QtTest>

#include <memory>

namespace {

const int SignInMs = 15000;

} // namespace

class TestLauncher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void signInAndOut_data();
    void signInAndOut();
    void signInWithOtherMethod_data();
    void signInWithOtherMethod();
    void rememberedAtNextStart();
    void silentServiceStopsTheSpinner();

private:
    //! A fresh start of the launcher, on the sign-in page once its automatic sign-in is over.
    std::unique_ptr<LauncherDriver> start();
    void useOAuth2(bool oauth2);

    EmulatorFixture m_emulator;
    SimulatedBrowser m_browser;
};

void TestLauncher::initTestCase()
{
    NIMBLA_REQUIRE_ENVIRONMENT(TestEnvironment::hasSessionBus(), TestEnvironment::noSessionBus());
    QVERIFY(m_emulator.start());
    m_browser.install();
}

void TestLauncher::init()
{
    m_emulator.clearFaults();
    useOAuth2(true);
    ManagerSupport::removeRecord();
}

void TestLauncher::cleanup()
{
    QTRY_VERIFY_WITH_TIMEOUT(LauncherDriver::networkIsQuiet(), SignInMs);
}

void TestLauncher::cleanupTestCase()
{
    ManagerSupport::removeRecord();
}

void TestLauncher::useOAuth2(bool oauth2)
{
    // An account name of its own keeps the remembered session away from the other tests'.
    QVERIFY(m_emulator.loadConfig({{"appAccountName", "NimblaLauncherTests"}, {"oauth2Enabled", oauth2}}));
}

std::unique_ptr<LauncherDriver> TestLauncher::start()
{
    auto launcher = std::make_unique<LauncherDriver>();
    if (!launcher->window() || !QTest::qWaitForWindowExposed(launcher->window()))
        return nullptr;
    // The social provider list arrives soon after the start.
    if (!QTest::qWaitFor([&] { return launcher->manager()->isSocialProvidersLoaded(); }, SignInMs))
        return nullptr;
    return launcher;
}

void TestLauncher::signInAndOut_data()
{
    QTest::addColumn<bool>("oauth2");
    QTest::addColumn<bool>("social");
    QTest::addColumn<QString>("session");

    QTest::newRow("password/oauth2") << true << false << "NimblaSDK::NimblaLoginOAuthSession";
    QTest::newRow("password/plain") << false << false << "NimblaSDK::NimblaLoginSession";
    QTest::newRow("social/oauth2") << true << true << "NimblaSDK::SocialNetworkOAuthSession";
    QTest::newRow("social/plain") << false << true << "NimblaSDK::SocialNetworkSession";
}

void TestLauncher::signInAndOut()
{
    QFETCH(bool, oauth2);
    QFETCH(bool, social);
    QFETCH(QString, session);
    useOAuth2(oauth2);
    const auto launcher = start();
    QVERIFY(launcher);
    QVERIFY(launcher->shows("signInPage"));
    QVERIFY(!launcher->shows("signedInPage"));
    const int opened = m_browser.opened().size();

    if (social) {
        QVERIFY(launcher->click("social:testbook"));
    } else {
        QVERIFY(!launcher->click("signInButton")); // nothing typed yet
        QVERIFY(launcher->signIn("alice@example.com", "alice-password"));
        QVERIFY(launcher->busy());
    }
    QTRY_VERIFY_WITH_TIMEOUT(launcher->shows("signedInPage"), SignInMs);
    QVERIFY(!launcher->shows("signInPage"));
    QVERIFY(!launcher->busy());
    QCOMPARE(m_browser.opened().size(), opened + (social ? 1 : 0));
    QCOMPARE(launcher->manager()->CurrentSession()->metaObject()->className(), session);
    if (social) {
        QCOMPARE(launcher->text("userNameValue"), QStringLiteral("frank"));
    } else {
        QCOMPARE(launcher->text("loginValue"), QStringLiteral("alice@example.com"));
        QCOMPARE(launcher->text("userNameValue"), QStringLiteral("alice"));
        QCOMPARE(launcher->text("userIdValue"), QStringLiteral("7d1f6a52-0001-4c1e-9a11-a11ce0000001"));
        QCOMPARE(launcher->text("merchantIdValue"), QStringLiteral("12345"));
    }

    QVERIFY(launcher->click("logoutButton"));
    QVERIFY(launcher->shows("signInPage"));
    QVERIFY(!launcher->shows("signedInPage"));
    QCOMPARE(launcher->manager()->CurrentSession(), nullptr);
    QCOMPARE(launcher->text("errorLabel"), QString());
}

void TestLauncher::signInWithOtherMethod_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("userName");

    // The ready token is the one the launcher keeps in its settings; the platform players are the
    // stand-in libraries' and the emulator's game-centre player.
    QTest::newRow("jwt") << "jwt" << "Sign in with the saved token" << "alice";
    QTest::newRow("steam") << "steam" << "Steam" << "Ivan the Steam player";
    QTest::newRow("steam-oauth") << "steam-oauth" << "Steam, over OAuth2" << "Ivan the Steam player";
    QTest::newRow("playfab") << "playfab" << "PlayFab e-mail and password" << "alice";
    // PlayFab makes a player of the stand-in's Steam account, named by its key.
    QTest::newRow("steam-playfab") << "steam-playfab" << "Steam, through PlayFab" << "steam-ivan";
    QTest::newRow("mailru") << "mailru" << "The Mail.Ru game centre" << "ivan";
    QTest::newRow("stone") << "stone" << "The Stone launcher" << "mike";
}

void TestLauncher::signInWithOtherMethod()
{
    QFETCH(QString, method);
    QFETCH(QString, title);
    QFETCH(QString, userName);
    NimblaSDK::NApplication::instance().settingsManager()->setJWT(m_emulator.token("alice@example.com"));
    const auto launcher = start();
    QVERIFY(launcher);
    // PlayFab takes the form's e-mail and password.
    QVERIFY(launcher->type("loginField", "alice@example.com"));
    QVERIFY(launcher->type("passwordField", "alice-password"));
    QCOMPARE(launcher->text("method:" + method), title);
    QVERIFY(launcher->click("method:" + method));
    QTRY_VERIFY_WITH_TIMEOUT(launcher->shows("signedInPage"), SignInMs);
    QCOMPARE(launcher->text("userNameValue"), userName);
}

void TestLauncher::rememberedAtNextStart()
{
    {
        const auto first = start();
        QVERIFY(first);
        QVERIFY(first->click("rememberBox"));
        QVERIFY(first->signIn("alice@example.com", "alice-password"));
        QTRY_VERIFY_WITH_TIMEOUT(first->shows("signedInPage"), SignInMs);
        QTRY_VERIFY(!ManagerSupport::savedRecord().isEmpty());
    }

    // No typing: the launcher restores the remembered session by itself.
    const auto second = std::make_unique<LauncherDriver>();
    QTRY_VERIFY_WITH_TIMEOUT(second->shows("signedInPage"), SignInMs);
    QCOMPARE(second->text("userNameValue"), QStringLiteral("alice"));
    QVERIFY(second->manager()->isAutologin());

    // Logging out forgets it: the next start shows the form.
    QVERIFY(second->click("logoutButton"));
    QTRY_VERIFY(ManagerSupport::savedRecord().isEmpty());
    const auto third = start();
    QVERIFY(third);
    QVERIFY(third->shows("signInPage"));
    QVERIFY(!third->busy());
}

void TestLauncher::silentServiceStopsTheSpinner()
{
    const auto launcher = start();
    QVERIFY(launcher);
    launcher->window()->setProperty("signInTimeoutMs", 300);
    m_emulator.injectFault(QUrl(NimblaSDK::NApplication::instance().urlsManager()->oauthLoginUrl()),
                           {{"delayMs", 1500}, {"drop", true}});

    QVERIFY(launcher->signIn("alice@example.com", "alice-password"));
    QVERIFY(launcher->busy());
    QTRY_COMPARE(launcher->text("errorLabel"), QStringLiteral("The service did not answer. Please try again."));
    QVERIFY(!launcher->busy());
    QVERIFY(launcher->item("signInButton")->isEnabled());
}

QTEST_MAIN(TestLauncher)
#include "tst_launcher.moc"
