#include "sessions/playfabloginsession.h"

#include "authmanager.h"
#include "emulatorfixture.h"
#include "libraryreports.h"
#include "napplication.h"
#include "sessions/nimblaloginsession.h"
#include "sessions/playfabexchange_p.h"
#include "storage/credentials.h"
#include "testenvironment.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace LibraryReports;

namespace {

// An account name of its own keeps this test's vault record away from the other tests'.
const QString Account = QStringLiteral("PlayfabLoginSessionTests");
const QString SavedAccountText = QStringLiteral(
        "Could not log in via the saved account.\n Please use your email and password or log in via a social network.");
const QString Unknown = QStringLiteral("Unknown or expired session ticket");

SDKSettings *settings()
{
    return NApplication::instance().settingsManager();
}

QString configuredUrl(const char *key)
{
    return NApplication::instance().configManager()->urls().value(QLatin1String(key)).toString();
}

struct Failure
{
    const char *tag;
    QString login, password;
    QString faultOn; //!< the URL key a fault is aimed at
    QJsonObject fault;
    QString errorText; //!< %1: the cross-auth URL as requested, %2: the PlayFab login URL
    QString report;    //!< title | details
    QStringList criticals;
};

} // namespace

Q_DECLARE_METATYPE(Failure)

class TestPlayfabLoginSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void titleId_data();
    void titleId();
    void failures_data();
    void failures();
    void unknownTitle();
    void answerWithoutData();
    void signIn_data();
    void signIn();
    void retryAfterWrongPassword();
    void sharesTheSavedAccount();
    void managerEntryPoints();
    void settersSignalOnlyOnChange();

private:
    //! Runs \a session to its end; the error text, or "finished".
    static QString outcome(PlayfabLoginSession &session);

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
    QVERIFY(m_emulator.loadConfig({{"appAccountName", Account}}));
    deleteCredential(Account);
    clearJournals();
}

QString TestPlayfabLoginSession::outcome(PlayfabLoginSession &session)
{
    QString result;
    const QMetaObject::Connection failed = connect(&session, &AbstractSession::error, &session,
                                                   [&result](const QString &text) { result += "error:" + text; });
    const QMetaObject::Connection finished = connect(&session, &AbstractSession::loginFinished, &session,
                                                     [&result] { result += "finished"; });
    session.tryLogin();
    const bool ended = QTest::qWaitFor([&result] { return !result.isEmpty(); }, 10000);
    disconnect(failed);
    disconnect(finished);
    return ended ? result : QStringLiteral("(silent)");
}

void TestPlayfabLoginSession::titleId_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("titleId");

    QTest::newRow("emulator") << "http://0x7F.0.0.1:18400/projects/p/playfab/login" << "0x7F";
    QTest::newRow("service-host") << "https://A1B2C.playfabapi.com/Client/LoginWithEmailAddress" << "A1B2C";
    QTest::newRow("no-path") << "https://a1b2c.playfabapi.com" << "a1b2c";
    QTest::newRow("dotted-quad") << "http://127.0.0.1:9/x" << "127";
    // Cut as text: a user part or a port stays in the first label.
    QTest::newRow("user-info") << "https://user@A1B2C.example.com/x" << "user@A1B2C";
    QTest::newRow("single-label") << "http://localhost:9/x" << "localhost:9";
    QTest::newRow("no-scheme") << "A1B2C.playfabapi.com/Client" << "";
    QTest::newRow("empty") << "" << "";
}

void TestPlayfabLoginSession::titleId()
{
    QFETCH(QString, url);
    QFETCH(QString, titleId);
    QCOMPARE(PlayfabExchange::titleId(url), titleId);
}

void TestPlayfabLoginSession::failures_data()
{
    QTest::addColumn<Failure>("row");
    const QString alice = "alice@example.com", pw = "alice-password";
    const QString saved = "Playfab: Failed auth via saved account | ";
    const QString wrong = "Invalid email address or password";
    const QString invalidParams = "Invalid input parameters"
                                  "\n\n Email: \nThe Email field is not a valid e-mail address."
                                  "\n\n Password: \nThe field Password must be a string with a minimum length of 6 "
                                  "and a maximum length of 100.\nPassword must be between 6 and 100 characters.";
    const QString crossAuthDown = "Error transferring %1 - server replied: Internal Server Error";
    const QString playfabDown = "Error transferring %2 - server replied: Internal Server Error";
    const QString down = "Internal failure";
    const QList<Failure> rows{
        {"no-login", "", "secret", {}, {}, SavedAccountText, saved, {}},
        {"no-password", alice, "", {}, {}, SavedAccountText, saved, {}},
        {"wrong-password", alice, "not-alices-password", {}, {}, wrong, "Playfab: Failed auth | " + wrong,
         {"^Playfab login failed: " + wrong + "$", "^Reply: \\{\\n    \"code\": 400,\\n.*\"error\": \"InvalidEmailOrPassword\""}},
        {"unknown-player", "nobody@example.com", pw, {}, {}, wrong, "Playfab: Failed auth | " + wrong, {}},
        // The fields come in ascending order, whatever order PlayFab wrote them in.
        {"invalid-params", "not-an-e-mail", "abc", {}, {}, invalidParams, "Playfab: Failed auth | " + invalidParams,
         {"^Playfab login failed: Invalid input parameters\\n\\n Email: ", "^Reply: "}},
        // A failure PlayFab did not explain is told in the network's words, not as an empty message.
        {"playfab-down", alice, pw, "playfabLoginUrl",
         {{"status", 500}, {"body", down}, {"contentType", "text/plain"}}, playfabDown, "Playfab: Failed auth | " + playfabDown,
         {"^Playfab login failed: Error transferring http://\\S+ - server replied: Internal Server Error$",
          "^Reply: \\{\\n\\}\\n$"}},
        {"playfab-dropped", alice, pw, "playfabLoginUrl", {{"drop", true}}, "Connection closed",
         "Playfab: Failed auth | Connection closed", {}},
        {"expired-ticket", "oscar-expired@example.com", "oscar-password", {}, {}, Unknown,
         "Playfab: Failed redirect request:  | " + Unknown,
         {"^Auth: Redirect request failed!$", "^Reply: " + Unknown + "$"}},
        {"cross-auth-down", alice, pw, "playfabCrossAuthUrl",
         {{"status", 500}, {"body", down}, {"contentType", "text/plain"}}, crossAuthDown,
         "Playfab: Auth request failed | " + crossAuthDown,
         {"^Msg: Error transferring http://127\\.0\\.0\\.1:\\d+/\\S+ - server replied: Internal Server Error$",
          "^Auth: Request failed!$"}},
        // A redirect that carries neither "token" nor "error": an empty text.
        {"redirect-without-token", alice, pw, "playfabCrossAuthUrl",
         {{"status", 302}, {"body", ""}}, "", "Playfab: Failed redirect request:  | ",
         {"^Auth: Redirect request failed!$", "^Reply: $"}},
    };
    for (const Failure &row : rows)
        QTest::newRow(row.tag) << row;
}

void TestPlayfabLoginSession::failures()
{
    QFETCH(Failure, row);
    if (!row.faultOn.isEmpty())
        m_emulator.injectFault(QUrl(configuredUrl(row.faultOn.toLatin1()).section('?', 0, 0)), row.fault);
    for (const QString &pattern : qAsConst(row.criticals))
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(pattern));
    const QString crossAuthPath = QUrl(configuredUrl("playfabCrossAuthUrl")).path();

    PlayfabLoginSession session(nullptr);
    session.setLogin(row.login);
    session.setPassword(row.password);
    const QString result = outcome(session);

    const QJsonArray crossAuth = m_emulator.requests(crossAuthPath);
    const QString requested = crossAuth.isEmpty() ? QString()
            : m_emulator.baseUrl().toString() + crossAuthPath + '?' + crossAuth.first().toObject().value("query").toString();
    const QString playfabLogin = QUrl(configuredUrl("playfabLoginUrl")).toString();
    QCOMPARE(result, "error:" + row.errorText.replace("%2", playfabLogin).replace("%1", requested));
    QCOMPARE(errorReports(),
             QStringList{row.report.replace("%2", playfabLogin).replace("%1", requested) + " | authorization"});
    QCOMPARE(trackedEvents(), QStringList());
    const bool sent = !row.login.isEmpty() && !row.password.isEmpty();
    QCOMPARE(m_emulator.requests(QUrl(configuredUrl("playfabLoginUrl")).path()).isEmpty(), !sent);
    // Nothing is saved until the launcher's token is in hand.
    QCOMPARE(readCredential(Account).userName, QString());
}

void TestPlayfabLoginSession::unknownTitle()
{
    // The same emulator under its dotted-quad name: title "127".
    const QString url = configuredUrl("playfabLoginUrl").replace("0x7F.0.0.1", "127.0.0.1");
    QVERIFY(m_emulator.loadConfig({{"appAccountName", Account}, {"urls", QJsonObject{{"playfabLoginUrl", url}}}}));
    QTest::ignoreMessage(QtCriticalMsg, "Playfab login failed: Invalid title id 127");
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("(?s)^Reply: .*\"error\": \"InvalidTitleId\""));

    PlayfabLoginSession session(nullptr);
    session.setLogin("alice@example.com");
    session.setPassword("alice-password");
    QCOMPARE(outcome(session), QStringLiteral("error:Invalid title id 127"));
    const QJsonArray sent = m_emulator.requests(QUrl(url).path());
    QCOMPARE(sent.size(), 1);
    QCOMPARE(QJsonDocument::fromJson(sent.first().toObject().value("body").toString().toUtf8()).object().value("TitleId"),
             QJsonValue("127"));
}

void TestPlayfabLoginSession::answerWithoutData()
{
    settings()->setPlayfabId("earlier-id");
    settings()->setPlayfabToken("earlier-ticket");
    QTest::ignoreMessage(QtInfoMsg, "Playfab login finished");
    QTest::ignoreMessage(QtInfoMsg, "Auth: Request finished!");
    QTest::ignoreMessage(QtCriticalMsg, "Auth: Redirect request failed!");
    QTest::ignoreMessage(QtCriticalMsg, qPrintable("Reply: " + Unknown));

    PlayfabLoginSession session(nullptr);
    session.setLogin("nina-nodata@example.com");
    session.setPassword("nina-password");
    QCOMPARE(outcome(session), "error:" + Unknown);

    const QJsonArray crossAuth = m_emulator.requests(QUrl(configuredUrl("playfabCrossAuthUrl")).path());
    QCOMPARE(crossAuth.size(), 1);
    QCOMPARE(crossAuth.first().toObject().value("query").toString(), QStringLiteral("playfab_id=&session_ticket="));
    // The empty ticket replaces the earlier one; an empty id does not.
    QCOMPARE(settings()->playfabToken(), QString());
    QCOMPARE(settings()->playfabId(), QStringLiteral("earlier-id"));
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

    PlayfabLoginSession session(nullptr);
    session.setLogin("alice@example.com");
    session.setPassword("alice-password");
    session.setRememberMe(rememberMe);
    QSignalSpy refreshed(&session, &AbstractSession::refreshed);
    QCOMPARE(outcome(session), QStringLiteral("finished"));

    QCOMPARE(session.userName(), QStringLiteral("alice"));
    QCOMPARE(session.accessKey(), QStringLiteral("alice-access-key"));
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

void TestPlayfabLoginSession::retryAfterWrongPassword()
{
    PlayfabLoginSession session(nullptr);
    session.setLogin("alice@example.com");
    session.setPassword("not-alices-password");
    QCOMPARE(outcome(session), QStringLiteral("error:Invalid email address or password"));
    session.setPassword("alice-password");
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    session.tryLogin();
    QVERIFY(finished.wait());
    QCOMPARE(errorReports().size(), 1);
}

void TestPlayfabLoginSession::sharesTheSavedAccount()
{
    {
        PlayfabLoginSession first(nullptr);
        QCOMPARE(first.login(), QString());
        QVERIFY(first.rememberMe());
        first.setLogin("alice@example.com");
        first.setPassword("alice-password");
        QCOMPARE(outcome(first), QStringLiteral("finished"));
    }
    // The login-and-password session starts with what PlayFab's saved, and signs in with it.
    NimblaLoginSession password(nullptr);
    QCOMPARE(password.login(), QStringLiteral("alice@example.com"));
    QCOMPARE(password.password(), QStringLiteral("alice-password"));
    QSignalSpy finished(&password, &AbstractSession::loginFinished);
    password.checkLoginType();
    QVERIFY(finished.wait());

    // And the other way round.
    QVERIFY(writeCredential({Account, "carol-captcha@example.com", "carol-password"}));
    PlayfabLoginSession next(nullptr);
    QCOMPARE(next.login(), QStringLiteral("carol-captcha@example.com"));
    QCOMPARE(next.password(), QStringLiteral("carol-password"));
}

void TestPlayfabLoginSession::managerEntryPoints()
{
    AuthManager manager(nullptr);
    manager.loginViaPlayfab(QStringLiteral("alice@example.com"), QStringLiteral("alice-password"), false);
    auto *session = qobject_cast<PlayfabLoginSession *>(manager.CurrentSession());
    QVERIFY(session);
    QCOMPARE(session->parent(), static_cast<QObject *>(&manager));
    QCOMPARE(session->rememberMe(), false);
    QSignalSpy finished(session, &AbstractSession::loginFinished);
    QVERIFY(finished.wait());

    // The saved account signs in without a form.
    QTRY_COMPARE(readCredential(Account).userName, QStringLiteral("alice@example.com"));
    QSignalSpy changed(&manager, &AuthManager::currentSessionChanged);
    manager.loginViaPlayfab();
    QCOMPARE(changed.count(), 1);
    session = qobject_cast<PlayfabLoginSession *>(manager.CurrentSession());
    QVERIFY(session);
    QCOMPARE(session->login(), QStringLiteral("alice@example.com"));
    QSignalSpy again(session, &AbstractSession::loginFinished);
    QVERIFY(again.wait());
}

void TestPlayfabLoginSession::settersSignalOnlyOnChange()
{
    PlayfabLoginSession session(nullptr);
    QSignalSpy login(&session, &PlayfabLoginSession::loginChanged);
    QSignalSpy identityLogin(&session, &AbstractSession::loginChanged);
    QSignalSpy password(&session, &PlayfabLoginSession::passwordChanged);
    QSignalSpy rememberMe(&session, &PlayfabLoginSession::rememberMeChanged);
    for (int i = 0; i < 2; ++i) {
        session.setLogin("zoe@example.com");
        session.setPassword("zoe-password");
        session.setRememberMe(false);
    }
    QCOMPARE(login.count(), 1);
    QCOMPARE(login.first().first().toString(), QStringLiteral("zoe@example.com"));
    QCOMPARE(identityLogin.count(), 0);
    QCOMPARE(password.count(), 1);
    QCOMPARE(rememberMe.count(), 1);
    QCOMPARE(rememberMe.first().first().toBool(), false);
}

QTEST_GUILESS_MAIN(TestPlayfabLoginSession)
#include "tst_playfabloginsession.moc"
