#include "sessions/playfabloginsession.h"

#include "authmanager.h"
#include "playfabcases.h"
#include "sessions/nimblaloginsession.h"
#include "storage/credentials.h"
#include "testenvironment.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace LibraryReports;
using PlayfabCases::configuredUrl;

namespace {

// An account name of its own keeps this test's vault record away from the other tests'.
const QString Account = QStringLiteral("PlayfabLoginSessionTests");
const PlayfabCases::Kind Playfab{"PlayfabAuth", "playfabLoginUrl", "Playfab: Failed auth", "Playfab: Auth request failed",
                                 "Playfab: Failed redirect request: ", true, {{"appAccountName", Account}}};

SDKSettings *settings()
{
    return NApplication::instance().settingsManager();
}

PlayfabLoginSession *alice(const QString &password = QStringLiteral("alice-password"))
{
    auto *session = new PlayfabLoginSession(nullptr);
    session->setLogin(QStringLiteral("alice@example.com"));
    session->setPassword(password);
    return session;
}

//! Runs \a session to its end: the error text, or "finished".
QString outcome(AbstractSession &session)
{
    QSignalSpy failed(&session, &AbstractSession::error);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    session.tryLogin();
    if (!QTest::qWaitFor([&] { return !failed.isEmpty() || !finished.isEmpty(); }, 10000))
        return QStringLiteral("(silent)");
    return finished.isEmpty() ? "error:" + failed.at(0).at(0).toString() : QStringLiteral("finished");
}

} // namespace

class TestPlayfabLoginSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void exchangeFailures_data();
    void exchangeFailures();
    void signIn_data();
    void signIn();
    void sharesTheSavedAccount();

private:
    EmulatorFixture m_emulator;
};

void TestPlayfabLoginSession::initTestCase()
{
    NIMBLA_REQUIRE_ENVIRONMENT(TestEnvironment::hasSessionBus(), TestEnvironment::noSessionBus());
    QVERIFY(m_emulator.start());
}

void TestPlayfabLoginSession::cleanupTestCase()
{
    deleteCredential(Account);
}

void TestPlayfabLoginSession::init()
{
    m_emulator.clearFaults();
    m_emulator.clearRequests();
    QVERIFY(m_emulator.loadConfig(Playfab.config));
    deleteCredential(Account);
    clearJournals();
}

void TestPlayfabLoginSession::exchangeFailures_data()
{
    PlayfabCases::exchangeFailures_data();
}

void TestPlayfabLoginSession::exchangeFailures()
{
    PlayfabCases::exchangeFailures(m_emulator, Playfab, [] { return alice(); });
    QCOMPARE(readCredential(Account).userName, QString());
}

void TestPlayfabLoginSession::signIn_data()
{
    QTest::addColumn<bool>("rememberMe");
    QTest::newRow("remembered") << true;
    QTest::newRow("not-remembered") << false;
}

void TestPlayfabLoginSession::signIn()
{
    QFETCH(bool, rememberMe);
    settings()->setRememberMe(!rememberMe);
    QTest::ignoreMessage(QtInfoMsg, "Playfab login finished");
    QTest::ignoreMessage(QtInfoMsg, "Auth: Request finished!");
    QTest::ignoreMessage(QtInfoMsg, "Auth: Redirect request finished");

    std::unique_ptr<PlayfabLoginSession> session(alice());
    session->setRememberMe(rememberMe);
    QSignalSpy refreshed(session.get(), &AbstractSession::refreshed);
    QCOMPARE(outcome(*session), QStringLiteral("finished"));

    QCOMPARE(session->userName(), QStringLiteral("alice"));
    QCOMPARE(session->accessKey(), QStringLiteral("alice-access-key"));
    QCOMPARE(refreshed.count(), 1);
    QCOMPARE(settings()->playfabId(), QStringLiteral("A11CE0000000000A"));
    const QString ticket = settings()->playfabToken();
    QVERIFY(ticket.startsWith("A11CE0000000000A-"));

    const QJsonArray logins = m_emulator.requests(QUrl(configuredUrl("playfabLoginUrl")).path());
    QCOMPARE(logins.size(), 1);
    const QJsonObject login = logins.first().toObject();
    QCOMPARE(login.value("method").toString(), QStringLiteral("POST"));
    QCOMPARE(login.value("headers").toObject().value("content-type").toString(), QStringLiteral("application/json"));
    QCOMPARE(login.value("body").toString(), QStringLiteral("{\n"
                                                            "    \"Email\": \"alice@example.com\",\n"
                                                            "    \"Password\": \"alice-password\",\n"
                                                            "    \"TitleId\": \"0x7F\"\n"
                                                            "}\n"));
    // PlayFab's tickets end in base64 padding: "=" must reach the service as %3D.
    const QJsonArray crossAuth = m_emulator.requests(QUrl(configuredUrl("playfabCrossAuthUrl")).path());
    QCOMPARE(crossAuth.size(), 1);
    QVERIFY(ticket.endsWith("=="));
    QCOMPARE(crossAuth.first().toObject().value("query").toString(),
             "playfab_id=A11CE0000000000A&session_ticket=" + QString::fromLatin1(QUrl::toPercentEncoding(ticket)));

    // Saved whatever rememberMe says; the flag goes to the settings.
    QTRY_COMPARE(readCredential(Account).userName, QStringLiteral("alice@example.com"));
    QCOMPARE(readCredential(Account).secret, QStringLiteral("alice-password"));
    QCOMPARE(settings()->rememberMe(), rememberMe);
}

void TestPlayfabLoginSession::sharesTheSavedAccount()
{
    AuthManager manager(nullptr);
    manager.loginViaPlayfab(QStringLiteral("alice@example.com"), QStringLiteral("alice-password"), false);
    auto *session = qobject_cast<PlayfabLoginSession *>(manager.CurrentSession());
    QVERIFY(session);
    QCOMPARE(session->parent(), static_cast<QObject *>(&manager));
    QCOMPARE(session->rememberMe(), false);
    QSignalSpy finished(session, &AbstractSession::loginFinished);
    QVERIFY(finished.wait());
    QTRY_COMPARE(readCredential(Account).userName, QStringLiteral("alice@example.com"));

    // The login-and-password session starts with what PlayFab's saved, and signs in with it.
    NimblaLoginSession password(nullptr);
    QCOMPARE(password.login(), QStringLiteral("alice@example.com"));
    QCOMPARE(password.password(), QStringLiteral("alice-password"));
    QSignalSpy signedIn(&password, &AbstractSession::loginFinished);
    password.checkLoginType();
    QVERIFY(signedIn.wait());

    // And the other way round, from the manager without a form.
    QVERIFY(writeCredential({Account, "carol-captcha@example.com", "carol-password"}));
    manager.loginViaPlayfab();
    session = qobject_cast<PlayfabLoginSession *>(manager.CurrentSession());
    QVERIFY(session);
    QCOMPARE(session->login(), QStringLiteral("carol-captcha@example.com"));
    QCOMPARE(session->password(), QStringLiteral("carol-password"));
    QSignalSpy refused(session, &AbstractSession::error); // not a PlayFab player
    QVERIFY(refused.wait());
}

QTEST_GUILESS_MAIN(TestPlayfabLoginSession)
#include "tst_playfabloginsession.moc"
