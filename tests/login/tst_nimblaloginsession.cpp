#include "sessions/nimblaloginsession.h"

#include "emulatorfixture.h"
#include "jwt/nimblaloginjwtvalidator.h"
#include "loginsupport.h"
#include "napplication.h"
#include "storage/credentials.h"
#include "testenvironment.h"

#include <QDesktopServices>
#include <QtTest>

using namespace NimblaSDK;
using namespace LoginSupport;

namespace {

// An account name of its own keeps this test's vault record away from the other tests'.
const QString Account = QStringLiteral("NimblaLoginSessionTests");
const QString SavedAccountText = QStringLiteral(
        "Could not log in via the saved account.\n Please use your email and password or log in via a social network.");
const QString Incorrect = QStringLiteral("Login or password is incorrect");

struct Failure
{
    const char *tag;
    QString login, password;
    QJsonObject fault;
    QString emitted;      // in order; "captcha" for captchaIsNeeded(), "policy" for privatePolicyIsNeeded()
    QString errorText;    // %1: the login URL
    QString report;       // @net: the network text with its code character
    int networkError;
    QStringList events;
    QStringList criticals;
};

const UrlsManager *urls()
{
    return NApplication::instance().urlsManager();
}

// The channels of a failure in the order they were told: log lines by category and level, then "error()".
QStringList g_told;
QtMessageHandler g_testHandler = nullptr;

void recordChannel(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    static const char *const levels[] = {"debug", "warning", "critical", "fatal", "info"};
    if (type != QtDebugMsg)
        g_told << QStringLiteral("%1 %2").arg(levels[type], context.category);
    g_testHandler(type, context, message);
}

} // namespace

Q_DECLARE_METATYPE(Failure)

class TestNimblaLoginSession : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void openUrl(const QUrl &url) { m_opened << url; }

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void failures_data();
    void failures();
    void channelOrder_data();
    void channelOrder();
    void loginUrlFollowsLoginType_data();
    void loginUrlFollowsLoginType();
    void singleTimeToken_data();
    void singleTimeToken();
    void savedAccountLifecycle();
    void settersSignalOnlyOnChange();

private:
    EmulatorFixture m_emulator;
    QList<QUrl> m_opened;
};

void TestNimblaLoginSession::initTestCase()
{
    NIMBLA_REQUIRE_ENVIRONMENT(TestEnvironment::hasSessionBus(), TestEnvironment::noSessionBus());
    QVERIFY(m_emulator.start());
    QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "openUrl");
}

void TestNimblaLoginSession::cleanupTestCase()
{
    QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
    deleteCredential(Account);
}

void TestNimblaLoginSession::init()
{
    m_emulator.clearFaults();
    m_emulator.clearRequests();
    QVERIFY(m_emulator.loadConfig({{"appAccountName", Account}}));
    deleteCredential(Account);
    clearJournals();
    m_opened.clear();
}

void TestNimblaLoginSession::failures_data()
{
    QTest::addColumn<Failure>("row");
    const QString alice = "alice@example.com", pw = "alice-password";
    const QStringList failed{"LoginPassAuthFailed"};
    const QString savedTitle = "NimblaLogin: Failed auth via saved account |  | authorization";
    const QString netTitle = "NimblaLogin: Authorization failed | @net | authorization";
    const QString incorrectTitle = "NimblaLogin: Login or password is incorrect |  | authorization";
    const QList<Failure> rows{
        {"no-login", "", "secret", {}, "error", SavedAccountText, savedTitle, 0, {}, {}},
        {"no-password", alice, "", {}, "error", SavedAccountText, savedTitle, 0, {}, {}},
        {"server-error", alice, pw, {{"status", 500}, {"body", "Internal failure"}, {"contentType", "text/plain"}},
         "error", httpErrorText("%1", "Internal Server Error"), netTitle, QNetworkReply::InternalServerError, failed,
         {"^loading login_url failed Error transferring .* Internal Server Error.$"}},
        {"malformed-error-body", alice, pw, {{"status", 502}, {"body", "{\"error\": {\"descr"}}, "error",
         httpErrorText("%1", "Bad Gateway"), netTitle, QNetworkReply::UnknownServerError, failed, {}},
        {"connection-dropped", alice, pw, {{"drop", true}}, "error", "Connection closed", netTitle,
         QNetworkReply::RemoteHostClosedError, failed, {}},
        {"captcha-demanded", "carol-captcha@example.com", "carol-password", {}, "captcha", "",
         "NimblaLogin: Incorrect captcha |  | authorization", 0, {},
         {"^loading login_url failed Invalid captcha$", "^Reply: \\{\\n    \"error\": \\{"}},
        {"service-refusal", alice, pw, refusal(403, "Account is blocked"), "error", "Account is blocked",
         "NimblaLogin: Failed auth | Account is blocked | authorization", 0, failed,
         {"^loading login_url failed Account is blocked$"}},
        {"wrong-password-user", "bob-locked@example.com", "bob-password", {}, "error", Incorrect, incorrectTitle, 0,
         failed, {"^loading login_url failed$", "^Reply: \\{\"error\":.*Invalid login or password"}},
        // The password was right, the account is refused all the same: both outcomes, in this order.
        {"error-in-success", "erin-mixed@example.com", "erin-password", {}, "finished+error", Incorrect,
         incorrectTitle, 0, {"LoginPassAuthSuccessed", "LoginPassAuthFailed"},
         {"^loading login_url failed Account requires attention$"}},
        {"success-without-login-url", alice, pw, {{"status", 200}, {"body", "{}"}}, "", "", "", 0, {}, {}},
        {"policy-pending", "dave-policy@example.com", "dave-password", {}, "policy", "", "", 0, {}, {}},
        {"token-of-another-project", alice, pw,
         {{"status", 200}, {"body", compactJson({{"login_url", m_emulator.baseUrl().toString() + "/privacy-policy?token="
                                                                 + m_emulator.token(alice, "nimbla-other-project")}})}},
         "policy", "", "", 0, {}, {}},
    };
    for (const Failure &row : rows)
        QTest::newRow(row.tag) << row;
}

void TestNimblaLoginSession::failures()
{
    QFETCH(Failure, row);
    const QString loginUrl = urls()->proxyLoginUrl();
    row.errorText.replace("%1", loginUrl);
    row.report.replace("@net", "loading login_url failed " + row.errorText + QChar(row.networkError));
    if (!row.fault.isEmpty())
        m_emulator.injectFault(QUrl(loginUrl), row.fault);
    for (const QString &pattern : qAsConst(row.criticals))
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(pattern));

    NimblaLoginSession session(nullptr);
    session.setLogin(row.login);
    session.setPassword(row.password);
    QStringList seen;
    QString lastError;
    connect(&session, &AbstractSession::error, this, [&](const QString &text) { seen << "error"; lastError = text; });
    connect(&session, &AbstractSession::loginFinished, this, [&] { seen << "finished"; });
    connect(&session, &NimblaLoginSession::captchaIsNeeded, this, [&] { seen << "captcha"; });
    QString policyPage;
    connect(&session, &NimblaLoginSession::privatePolicyIsNeeded, this, [&](const QString &url) {
        seen << "policy";
        policyPage = url;
    });
    ReplyWatch watch;

    const bool sent = !row.login.isEmpty() && !row.password.isEmpty();
    session.tryLogin();
    if (sent)
        QTRY_COMPARE(watch.finished(path(loginUrl)), 1);

    QCOMPARE(seen.join('+'), row.emitted);
    QCOMPARE(lastError, row.errorText);
    QCOMPARE(errorReports(), row.report.isEmpty() ? QStringList() : QStringList{row.report});
    QCOMPARE(trackedEvents(), row.events);
    // Qt itself may resend a request once over a fresh connection when a kept-alive one was dropped.
    QCOMPARE(m_emulator.requests(path(loginUrl)).isEmpty(), !sent);
    QCOMPARE(readCredential(Account).userName, row.emitted.contains("finished") ? row.login : QString());
    // The policy page is the one the browser was asked to open.
    QCOMPARE(QUrl(policyPage).path(), QString(row.emitted == "policy" ? "/privacy-policy" : ""));
    QCOMPARE(m_opened, policyPage.isEmpty() ? QList<QUrl>() : QList<QUrl>{QUrl(policyPage)});
}

void TestNimblaLoginSession::channelOrder_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QStringList>("told");

    const QString line = "critical logCatNimblaAuth", event = "info NimblaSDK.Core.EventsTracker";
    const QString report = "warning NimblaSDK.Core.ErrorLogger";
    QTest::newRow("no-saved-account") << "alice@example.com" << "" << QJsonObject() << QStringList{"error()", report};
    QTest::newRow("network-failure") << "alice@example.com" << "alice-password" << QJsonObject{{"drop", true}}
                                     << QStringList{line, event, report, "error()"};
    QTest::newRow("wrong-password") << "bob-locked@example.com" << "bob-password" << QJsonObject()
                                    << QStringList{line, line, event, report, "error()"};
    QTest::newRow("captcha-demanded") << "carol-captcha@example.com" << "carol-password" << QJsonObject()
                                      << QStringList{line, line, report, "captchaIsNeeded()"};
}

void TestNimblaLoginSession::channelOrder()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    QFETCH(QJsonObject, fault);
    QFETCH(QStringList, told);
    if (!fault.isEmpty())
        m_emulator.injectFault(QUrl(urls()->proxyLoginUrl()), fault);

    NimblaLoginSession session(nullptr);
    session.setLogin(login);
    session.setPassword(password);
    connect(&session, &AbstractSession::error, this, [] { g_told << "error()"; });
    connect(&session, &NimblaLoginSession::captchaIsNeeded, this, [] { g_told << "captchaIsNeeded()"; });
    for (int i = told.count("critical logCatNimblaAuth"); i > 0; --i)
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("^(loading login_url failed|Reply: )"));
    g_told.clear();
    g_testHandler = qInstallMessageHandler(recordChannel);
    session.tryLogin();
    const bool ended = QTest::qWaitFor([&] { return g_told.contains("error()") || g_told.contains("captchaIsNeeded()"); });
    qInstallMessageHandler(g_testHandler);

    QVERIFY(ended);
    QCOMPARE(g_told, told);
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

    NimblaLoginSession session(nullptr);
    session.setLogin("alice@example.com");
    session.setPassword("alice-password");
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    widgetProject.isEmpty() ? session.tryLogin() : session.checkLoginType();
    QVERIFY(finished.wait());

    const QJsonArray requests = m_emulator.requests(path(direct ? urls()->loginUrl() : urls()->proxyLoginUrl()));
    QCOMPARE(requests.size(), 1);
    const QJsonObject request = requests.at(0).toObject();
    QCOMPARE(request.value("headers").toObject().value("content-type").toString(), QStringLiteral("application/json"));
    QCOMPARE(QJsonDocument::fromJson(request.value("body").toString().toUtf8()).object(),
             QJsonObject({{"username", "alice@example.com"}, {"password", "alice-password"}, {"remember_me", true}}));
    QCOMPARE(session.AbstractSession::login(), QStringLiteral("alice@example.com"));
    QCOMPARE(session.accessKey(), QStringLiteral("alice-access-key"));
    QCOMPARE(trackedEvents(), QStringList{"LoginPassAuthSuccessed"});
}

void TestNimblaLoginSession::singleTimeToken_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<int>("expiresIn"); // 0: the emulator's default lifetime
    QTest::addColumn<bool>("validator");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("validated") << "alice@example.com" << 0 << true << true;
    QTest::newRow("rejected-by-validator") << "alice@example.com" << -60 << true << false;
    QTest::newRow("unchecked-without-access-key") << "dave-policy@example.com" << 0 << false << false;
}

void TestNimblaLoginSession::singleTimeToken()
{
    QFETCH(QString, user);
    QFETCH(int, expiresIn);
    QFETCH(bool, validator);
    QFETCH(bool, accepted);

    NimblaLoginSession session(nullptr);
    // The token replaces the password sign-in even when a password is at hand.
    session.setLogin("alice@example.com");
    session.setPassword("alice-password");
    session.setSingleTimeAccessToken(m_emulator.token(user, QString(), expiresIn));
    if (validator) {
        auto checker = QSharedPointer<NimblaLoginJwtValidator>::create(nullptr);
        checker->setTestEndpoint(QUrl(urls()->getUserAttributesUrl()));
        session.setJwtValidator(checker);
    }
    QSignalSpy errors(&session, &AbstractSession::error);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);

    session.tryLogin();
    QTRY_COMPARE(errors.count() + finished.count(), 1);
    QCOMPARE(finished.count(), accepted ? 1 : 0);
    if (!accepted)
        QCOMPARE(errors.at(0).at(0).toString(), QString());
    QCOMPARE(m_emulator.requests(path(urls()->getUserAttributesUrl())).size(), validator ? 1 : 0);
    QCOMPARE(m_emulator.requests(path(urls()->proxyLoginUrl())).size(), 0);
    QCOMPARE(errorReports(), QStringList());
    QCOMPARE(trackedEvents(), QStringList());
}

void TestNimblaLoginSession::savedAccountLifecycle()
{
    {
        NimblaLoginSession first(nullptr);
        QCOMPARE(first.login(), QString());
        first.setLogin("alice@example.com");
        first.setPassword("alice-password");
        first.setRememberMe(false);
        QSignalSpy finished(&first, &AbstractSession::loginFinished);
        first.tryLogin();
        QVERIFY(finished.wait());
    }
    QCOMPARE(NApplication::instance().settingsManager()->rememberMe(), false);

    NimblaLoginSession next(nullptr);
    QCOMPARE(next.login(), QStringLiteral("alice@example.com"));
    QCOMPARE(next.password(), QStringLiteral("alice-password"));
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

void TestNimblaLoginSession::settersSignalOnlyOnChange()
{
    NimblaLoginSession session(nullptr);
    QSignalSpy login(&session, &NimblaLoginSession::loginChanged);
    QSignalSpy identityLogin(&session, &AbstractSession::loginChanged);
    QSignalSpy password(&session, &NimblaLoginSession::passwordChanged);
    QSignalSpy rememberMe(&session, &NimblaLoginSession::rememberMeChanged);
    QSignalSpy token(&session, &NimblaLoginSession::singleTimeAccessTokenChanged);
    for (int i = 0; i < 2; ++i) {
        session.setLogin("zoe");
        session.setPassword("pw");
        session.setRememberMe(false);
        session.setSingleTimeAccessToken("same");
    }
    QCOMPARE(login.count(), 1);
    QCOMPARE(identityLogin.count(), 0);
    QCOMPARE(password.count(), 1);
    QCOMPARE(rememberMe.count(), 1);
    QCOMPARE(token.count(), 2);
    QCOMPARE(session.property("login").toString(), QStringLiteral("zoe"));
}

QTEST_GUILESS_MAIN(TestNimblaLoginSession)
#include "tst_nimblaloginsession.moc"
