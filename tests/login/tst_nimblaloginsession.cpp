#include "sessions/nimblaloginsession.h"

#include "emulatorfixture.h"
#include "jwt/nimblaloginjwtvalidator.h"
#include "napplication.h"
#include "signinattempt.h"
#include "storage/credentials.h"
#include "testenvironment.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace SignIn;

namespace {

// An account name of its own keeps this test's vault record away from the other tests'.
const QString Account = QStringLiteral("NimblaLoginSessionTests");
const QString Alice = QStringLiteral("alice@example.com");
const QString AlicePassword = QStringLiteral("alice-password");

struct PasswordAttempt : Attempt<NimblaLoginSession>
{
    PasswordAttempt(const QString &login, const QString &password)
        : Attempt(Browser::Idle)
    {
        session.setLogin(login);
        session.setPassword(password);
        watch(&NimblaLoginSession::captchaIsNeeded, "captcha");
        watch(&NimblaLoginSession::privatePolicyIsNeeded, "policy");
    }
};

struct Failure
{
    const char *tag;
    QString login, password;
    QJsonObject fault;
    QString told;         // log lines ("log", "event", "report") and signals, in the order they came
    QString errorText;
    QString report;       // @net: the network text with its code character
    int networkError;
    QStringList events;
    QStringList criticals;
};

const UrlsManager *urls()
{
    return NApplication::instance().urlsManager();
}

// Where the failures' log lines go, besides Qt Test's own handler.
QStringList *g_told = nullptr;
QtMessageHandler g_testHandler = nullptr;

void recordChannel(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    static const QMap<QString, QString> channels{{"logCatNimblaAuth", "log"},
                                                 {"NimblaSDK.Core.EventsTracker", "event"},
                                                 {"NimblaSDK.Core.ErrorLogger", "report"},
                                                 {"NimblaSDK.Core.LogManager", "user"}};
    if (type != QtDebugMsg && g_told)
        *g_told << channels.value(QLatin1String(context.category), QLatin1String(context.category));
    g_testHandler(type, context, message);
}

} // namespace

Q_DECLARE_METATYPE(Failure)

class TestNimblaLoginSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanupTestCase() { deleteCredential(Account); }

    void failures_data();
    void failures();
    void loginUrlFollowsLoginType_data();
    void loginUrlFollowsLoginType();
    void singleTimeToken_data();
    void singleTimeToken();
    void savedAccountLifecycle();

private:
    EmulatorFixture m_emulator;
};

void TestNimblaLoginSession::initTestCase()
{
    NIMBLA_REQUIRE_ENVIRONMENT(TestEnvironment::hasSessionBus(), TestEnvironment::noSessionBus());
    QVERIFY(m_emulator.start());
}

void TestNimblaLoginSession::init()
{
    m_emulator.clearFaults();
    m_emulator.clearRequests();
    QVERIFY(m_emulator.loadConfig({{"appAccountName", Account}}));
    deleteCredential(Account);
    clearJournals();
}

// What the fault matrix checks of every failure, the outcome signal and its text, is only part of it here:
// the log lines, the report, the events and the saved account are what these rows are for.
void TestNimblaLoginSession::failures_data()
{
    QTest::addColumn<Failure>("row");
    const QStringList failed{"LoginPassAuthFailed"};
    const QString savedText = "Could not log in via the saved account.\n Please use your email and password or log "
                              "in via a social network.";
    const QString savedTitle = "NimblaLogin: Failed auth via saved account |  | authorization";
    const QString incorrect = "Login or password is incorrect";
    const QString incorrectTitle = "NimblaLogin: Login or password is incorrect |  | authorization";
    const QString otherProjectPage = m_emulator.baseUrl().toString() + "/privacy-policy?token="
            + m_emulator.token(Alice, "nimbla-other-project");
    const QList<Failure> rows{
        {"no-login", "", "secret", {}, "error,report", savedText, savedTitle, 0, {}, {}},
        {"no-password", Alice, "", {}, "error,report", savedText, savedTitle, 0, {}, {}},
        {"connection-dropped", Alice, AlicePassword, {{"drop", true}}, "log,event,report,error", "Connection closed",
         "NimblaLogin: Authorization failed | @net | authorization", QNetworkReply::RemoteHostClosedError, failed,
         {"^loading login_url failed Connection closed"}},
        {"captcha-demanded", "carol-captcha@example.com", "carol-password", {}, "log,log,report,captcha", "",
         "NimblaLogin: Incorrect captcha |  | authorization", 0, {},
         {"^loading login_url failed Invalid captcha$", "^Reply: \\{\\n    \"error\": \\{"}},
        {"service-refusal", Alice, AlicePassword, refusal(403, "Account is blocked"), "log,log,event,report,error",
         "Account is blocked", "NimblaLogin: Failed auth | Account is blocked | authorization", 0, failed,
         {"^loading login_url failed Account is blocked$", "^Reply: "}},
        {"wrong-password-user", "bob-locked@example.com", "bob-password", {}, "log,log,event,report,error", incorrect,
         incorrectTitle, 0, failed, {"^loading login_url failed$", "^Reply: \\{\"error\":.*Invalid login or password"}},
        // The password was right, the account is refused all the same: both outcomes, in this order.
        {"error-in-success", "erin-mixed@example.com", "erin-password", {}, "user,event,report,finished,log,log,event,report,error",
         incorrect, incorrectTitle, 0, {"LoginPassAuthSuccessed", "LoginPassAuthFailed"},
         {"^loading login_url failed Account requires attention$", "^Reply: "}},
        {"policy-pending", "dave-policy@example.com", "dave-password", {}, "user,policy", "", "", 0, {}, {}},
        {"token-of-another-project", Alice, AlicePassword,
         {{"status", 200}, {"body", compactJson({{"login_url", otherProjectPage}})}}, "log,policy", "", "", 0, {},
         {"^JWT token belongs to another login project$"}},
    };
    for (const Failure &row : rows)
        QTest::newRow(row.tag) << row;
}

void TestNimblaLoginSession::failures()
{
    QFETCH(Failure, row);
    const QString loginUrl = urls()->proxyLoginUrl();
    row.report.replace("@net", "loading login_url failed " + row.errorText + QChar(row.networkError));
    if (!row.fault.isEmpty())
        m_emulator.injectFault(QUrl(loginUrl), row.fault);
    for (const QString &pattern : qAsConst(row.criticals))
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(pattern));

    PasswordAttempt attempt(row.login, row.password);
    ReplyWatch watch;
    g_told = &attempt.seen;
    g_testHandler = qInstallMessageHandler(recordChannel);
    const bool sent = !row.login.isEmpty() && !row.password.isEmpty();
    attempt.session.tryLogin();
    const bool answered = !sent || QTest::qWaitFor([&] { return watch.finished(path(loginUrl)) == 1; });
    qInstallMessageHandler(g_testHandler);
    g_told = nullptr;

    QVERIFY(answered);
    QCOMPARE(attempt.seen.join(','), row.told);
    QCOMPARE(texts(attempt.errors).value(0), row.errorText);
    QCOMPARE(errorReports(), row.report.isEmpty() ? QStringList() : QStringList{row.report});
    QCOMPARE(trackedEvents(), row.events);
    // Qt itself may resend a request once over a fresh connection when a kept-alive one was dropped.
    QCOMPARE(m_emulator.requests(path(loginUrl)).isEmpty(), !sent);
    QCOMPARE(readCredential(Account).userName, row.told.contains("finished") ? row.login : QString());
    const bool policy = row.told.endsWith("policy");
    QCOMPARE(attempt.browser.opened().size(), policy ? 1 : 0);
    QCOMPARE(attempt.browser.opened().value(0).path(), QString(policy ? "/privacy-policy" : ""));
}

void TestNimblaLoginSession::loginUrlFollowsLoginType_data()
{
    QTest::addColumn<QString>("widgetProject"); // empty: the login type is never asked for
    QTest::addColumn<bool>("direct");

    QTest::newRow("direct") << "nimbla-direct-project" << true;
    QTest::newRow("proxy") << "nimbla-demo-project" << false;
    QTest::newRow("undetermined-goes-through-proxy") << "" << false;
}

void TestNimblaLoginSession::loginUrlFollowsLoginType()
{
    QFETCH(QString, widgetProject);
    QFETCH(bool, direct);
    const QString settingsUrl = m_emulator.baseUrl().toString() + "/projects/" + widgetProject + "/widget-settings";
    QVERIFY(m_emulator.loadConfig({{"appAccountName", Account}, {"urls", QJsonObject{{"widgetSettingsUrl", settingsUrl}}}}));

    PasswordAttempt attempt(Alice, AlicePassword);
    widgetProject.isEmpty() ? attempt.session.tryLogin() : attempt.session.checkLoginType();
    QVERIFY(attempt.finished.wait());

    const QJsonArray requests = m_emulator.requests(path(direct ? urls()->loginUrl() : urls()->proxyLoginUrl()));
    QCOMPARE(requests.size(), 1);
    const QJsonObject request = requests.at(0).toObject();
    QCOMPARE(request.value("headers").toObject().value("content-type").toString(), QStringLiteral("application/json"));
    QCOMPARE(QJsonDocument::fromJson(request.value("body").toString().toUtf8()).object(),
             QJsonObject({{"username", Alice}, {"password", AlicePassword}, {"remember_me", true}}));
    QCOMPARE(attempt.session.AbstractSession::login(), Alice);
    QCOMPARE(attempt.session.accessKey(), QStringLiteral("alice-access-key"));
    QCOMPARE(trackedEvents(), QStringList{"LoginPassAuthSuccessed"});
}

void TestNimblaLoginSession::singleTimeToken_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<int>("expiresIn"); // 0: the emulator's default lifetime
    QTest::addColumn<bool>("validator");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("validated") << Alice << 0 << true << true;
    QTest::newRow("rejected-by-validator") << Alice << -60 << true << false;
    QTest::newRow("unchecked-without-access-key") << "dave-policy@example.com" << 0 << false << false;
}

void TestNimblaLoginSession::singleTimeToken()
{
    QFETCH(QString, user);
    QFETCH(int, expiresIn);
    QFETCH(bool, validator);
    QFETCH(bool, accepted);

    // The token replaces the password sign-in even when a password is at hand.
    PasswordAttempt attempt(Alice, AlicePassword);
    attempt.session.setSingleTimeAccessToken(m_emulator.token(user, QString(), expiresIn));
    if (validator) {
        auto checker = QSharedPointer<NimblaLoginJwtValidator>::create(nullptr);
        checker->setTestEndpoint(QUrl(urls()->getUserAttributesUrl()));
        attempt.session.setJwtValidator(checker);
    }

    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.seen.size(), 1);
    QCOMPARE(attempt.seen.first(), QString(accepted ? "finished" : "error"));
    QCOMPARE(texts(attempt.errors).value(0), QString());
    QCOMPARE(m_emulator.requests(path(urls()->getUserAttributesUrl())).size(), validator ? 1 : 0);
    QCOMPARE(m_emulator.requests(path(urls()->proxyLoginUrl())).size(), 0);
    QCOMPARE(errorReports(), QStringList());
    QCOMPARE(trackedEvents(), QStringList());
}

void TestNimblaLoginSession::savedAccountLifecycle()
{
    {
        PasswordAttempt first(Alice, AlicePassword);
        first.session.setRememberMe(false);
        first.session.tryLogin();
        QVERIFY(first.finished.wait());
    }
    QCOMPARE(NApplication::instance().settingsManager()->rememberMe(), false);

    NimblaLoginSession next(nullptr);
    QCOMPARE(next.login(), Alice);
    QCOMPARE(next.password(), AlicePassword);
    QVERIFY(next.rememberMe());
    QSignalSpy finished(&next, &AbstractSession::loginFinished);
    next.tryLogin();
    QVERIFY(finished.wait());
    QCOMPARE(NApplication::instance().settingsManager()->rememberMe(), true);

    next.logout();
    QCOMPARE(readCredential(Account).userName, QString());
    QCOMPARE(next.accessKey(), QStringLiteral("alice-access-key"));
    NimblaLoginSession afterLogout(nullptr);
    QCOMPARE(afterLogout.login(), QString());
    QCOMPARE(afterLogout.password(), QString());
}

QTEST_GUILESS_MAIN(TestNimblaLoginSession)
#include "tst_nimblaloginsession.moc"
