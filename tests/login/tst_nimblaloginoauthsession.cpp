#include "sessions/nimblaloginoauthsession.h"

#include "emulatorfixture.h"
#include "napplication.h"
#include "oauthmode.h"
#include "signinattempt.h"
#include "storage/credentials.h"
#include "testenvironment.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace SignIn;

namespace {

// An account name of its own keeps this test's vault record away from the other tests'.
const QString Account = QStringLiteral("NimblaLoginOAuthSessionTests");

struct PasswordAttempt : Attempt<NimblaLoginOAuthSession>
{
    PasswordAttempt(const QString &login, const QString &password)
        : Attempt(Browser::Idle)
    {
        session.setLogin(login);
        session.setPassword(password);
        watch(&NimblaLoginOAuthSession::captchaIsNeeded, "captcha");
        watch(&NimblaLoginOAuthSession::privatePolicyIsNeeded, "policy");
    }
};

struct Failure
{
    const char *tag;
    QString login, password;
    bool faultOnToken;    // else on the login endpoint
    QJsonObject fault;
    QString emitted;      // in order
    QString errorText;
    QString report;       // @net: the network text with its code character
    int networkError;
    QStringList events;
    bool exchanged;       // the account is saved and the code exchanged
};

QString loginPath()
{
    return path(NApplication::instance().urlsManager()->oauthLoginUrl());
}

QString tokenUrl()
{
    return NApplication::instance().urlsManager()->oauthExchangeCodeUrl();
}

using Form = QList<QPair<QString, QString>>;

Form form(const QJsonValue &request)
{
    return QUrlQuery(request.toObject().value("body").toString()).queryItems(QUrl::FullyDecoded);
}

//! What the token endpoint expects: the grant, its one item, the client and the callback address, in this order.
Form tokenForm(const QString &grant, const QString &name, const QString &value)
{
    return {{"grant_type", grant}, {name, value}, {"client_id", "101"},
            {"redirect_uri", NApplication::instance().configManager()->callbackUrl()}};
}

} // namespace

Q_DECLARE_METATYPE(Failure)

class TestNimblaLoginOAuthSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        NIMBLA_REQUIRE_ENVIRONMENT(TestEnvironment::hasSessionBus(), TestEnvironment::noSessionBus());
        QVERIFY(m_emulator.start());
    }
    void init();
    void cleanupTestCase() { deleteCredential(Account); }

    void failures_data();
    void failures();
    void fullSignInThenRefresh_data();
    void fullSignInThenRefresh();
    void overlappingAttemptsKeepTheirStates();

private:
    EmulatorFixture m_emulator;
};

void TestNimblaLoginOAuthSession::init()
{
    m_emulator.clearFaults();
    m_emulator.clearRequests();
    m_emulator.setPkceRequired(false);
    QVERIFY(m_emulator.loadConfig({{"appAccountName", Account}}));
    deleteCredential(Account);
    clearJournals();
}

// The fault matrix checks the outcome of every kind of failure; these rows check the report, the events,
// the saved account and whether the code went on to the exchange.
void TestNimblaLoginOAuthSession::failures_data()
{
    QTest::addColumn<Failure>("row");
    const QString alice = "alice@example.com", pw = "alice-password";
    const QStringList failed{"LoginPassAuthFailed"};
    const QString incorrect = "Login or password is incorrect";
    const QString incorrectTitle = "NimblaOAuthLogin: Login or password is incorrect |  | authorization";
    const QJsonObject forgedRedirect{
            {"status", 200}, {"body", compactJson({{"login_url", "http://127.0.0.1:1/callback?code=code-1&state=ZZZZZZZZZZZZ"}})}};
    const QList<Failure> rows{
        {"no-password", alice, "", false, {}, "error",
         "Could not log in via the saved account.\n Please use your email and password or log in via a social network.",
         "NimblaOAuthLogin: Failed auth via saved account |  | authorization", 0, {}, false},
        {"connection-dropped", alice, pw, false, {{"drop", true}}, "error", "Connection closed",
         "NimblaOAuthLogin: Authorization failed | @net | authorization", QNetworkReply::RemoteHostClosedError, failed,
         false},
        {"captcha-demanded", "carol-captcha@example.com", "carol-password", false, {}, "captcha", "",
         "NimblaLogin: Incorrect captcha |  | authorization", 0, {}, false},
        {"service-refusal", alice, pw, false, refusal(403, "Account is blocked"), "error", "Account is blocked",
         "NimblaOAuthLogin: Failed auth | Account is blocked | authorization", 0, failed, false},
        {"wrong-password-user", "bob-locked@example.com", "bob-password", false, {}, "error", incorrect,
         incorrectTitle, 0, failed, false},
        {"state-mismatch", alice, pw, false, forgedRedirect, "error", "Login url is compromised", "", 0, {}, false},
        // The policy page carries no state, so this flow cannot take it for a redirect of its own.
        {"policy-page-has-no-state", "dave-policy@example.com", "dave-password", false, {}, "error",
         "Login url is compromised", "", 0, {}, false},
        {"error-in-success", "erin-mixed@example.com", "erin-password", false, {}, "error,finished", incorrect,
         incorrectTitle, 0, {"OAuthLoginPassAuthSuccessed", "OAuthLoginPassAuthFailed"}, true},
        {"code-exchange-refused", alice, pw, true, refusal(400, "invalid_grant: code expired"), "error",
         "invalid_grant: code expired", "NimblaOAuthLogin: Failed auth | invalid_grant: code expired | authorization",
         0, {"OAuthLoginPassAuthSuccessed", "ExchangeOAuthCodeFailed"}, true},
    };
    for (const Failure &row : rows)
        QTest::newRow(row.tag) << row;
}

void TestNimblaLoginOAuthSession::failures()
{
    QFETCH(Failure, row);
    const QString tokenPath = path(tokenUrl());
    if (!row.fault.isEmpty())
        m_emulator.injectFault(row.faultOnToken ? QUrl(tokenUrl()) : m_emulator.baseUrl().resolved(loginPath()), row.fault);

    PasswordAttempt attempt(row.login, row.password);
    ReplyWatch watch;
    attempt.session.tryLogin();
    if (!row.password.isEmpty()) {
        QTRY_COMPARE(watch.finished(loginPath()), 1);
        // Right after the login answer: a refused redirect has not even started an exchange. An
        // accepted one may have ended it already, now that nothing stalls the thread in between.
        QCOMPARE(ReplyWatch::alive(tokenPath) > 0 || watch.finished(tokenPath) > 0, row.exchanged);
        if (row.exchanged)
            QTRY_COMPARE(watch.finished(tokenPath), 1);
    }
    row.report.replace("@net", "loading login_url failed " + row.errorText + QChar(row.networkError));

    QCOMPARE(attempt.seen.join(','), row.emitted);
    QCOMPARE(texts(attempt.errors).value(0), row.errorText);
    QCOMPARE(errorReports(), row.report.isEmpty() ? QStringList() : QStringList{row.report});
    QCOMPARE(trackedEvents(), row.events);
    QCOMPARE(m_emulator.requests(tokenPath).size(), row.exchanged ? 1 : 0);
    QCOMPARE(readCredential(Account).userName, row.exchanged ? row.login : QString());
}

void TestNimblaLoginOAuthSession::fullSignInThenRefresh_data()
{
    QTest::addColumn<OAuthMode>("mode");
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("accessKey");

    QTest::newRow("as-today") << OAuthMode::AsToday << "alice@example.com" << "alice-password" << "alice-access-key";
    QTest::newRow("base64-tokens") << OAuthMode::Base64Tokens << "quinn-base64@example.com" << "quinn-password"
                                   << "quinn-access-key";
    QTest::newRow("pkce-required") << OAuthMode::PkceRequired << "alice@example.com" << "alice-password"
                                   << "alice-access-key";
}

void TestNimblaLoginOAuthSession::fullSignInThenRefresh()
{
    QFETCH(OAuthMode, mode);
    QFETCH(QString, login);
    QFETCH(QString, password);
    QFETCH(QString, accessKey);
    m_emulator.setPkceRequired(mode == OAuthMode::PkceRequired);

    PasswordAttempt attempt(login, password);
    QSignalSpy refreshed(&attempt.session, &AbstractSession::refreshed);
    attempt.session.tryLogin();
    QVERIFY(attempt.finished.wait());

    const QJsonObject loginRequest = m_emulator.requests(loginPath()).at(0).toObject();
    QCOMPARE(QJsonDocument::fromJson(loginRequest.value("body").toString().toUtf8()).object(),
             QJsonObject({{"username", login}, {"password", password}}));
    const QUrlQuery loginQuery(loginRequest.value("query").toString());
    QCOMPARE(loginQuery.queryItemValue("state").size(), 12);
    QCOMPARE(loginQuery.queryItemValue("code_challenge_method"), QStringLiteral("S256"));
    const QJsonArray exchanges = m_emulator.requests(path(tokenUrl()));
    QCOMPARE(exchanges.size(), 1);
    QCOMPARE(exchanges.at(0).toObject().value("headers").toObject().value("content-type").toString(),
             QStringLiteral("application/x-www-form-urlencoded"));
    const QString code = form(exchanges.at(0)).value(1).second;
    QVERIFY(code.startsWith("code-"));
    QCOMPARE(holdsFormUnsafeCharacters(code), mode == OAuthMode::Base64Tokens);
    QCOMPARE(form(exchanges.at(0)), tokenForm("authorization_code", "code", code)
                                            << qMakePair(QStringLiteral("code_verifier"), form(exchanges.at(0)).value(4).second));
    // Every character outside the unreserved set is encoded, not only those a URL query would.
    QVERIFY(exchanges.at(0).toObject().value("body").toString().contains("code=" + QUrl::toPercentEncoding(code) + '&'));

    const QJsonObject saved = attempt.session.sessionState();
    const QString firstRefresh = saved.value("refresh_token").toString();
    QVERIFY(firstRefresh.startsWith("refresh-"));
    QCOMPARE(holdsFormUnsafeCharacters(firstRefresh), mode == OAuthMode::Base64Tokens);
    QCOMPARE(saved.value("access_token").toString(), attempt.session.jwt());
    QCOMPARE(refreshed.at(0).at(0).toMap(), attempt.session.sessionParameters());
    QCOMPARE(attempt.session.accessKey(), accessKey);
    QCOMPARE(trackedEvents(), QStringList{"OAuthLoginPassAuthSuccessed"});

    // The next run finds the saved account; forgotten, it still renews the sign-in from the saved state.
    NimblaLoginOAuthSession restored(nullptr);
    QCOMPARE(restored.login(), login);
    QCOMPARE(restored.password(), password);
    restored.logout();
    QCOMPARE(readCredential(Account).userName, QString());
    restored.setSessionState(saved);
    QSignalSpy restoredFinished(&restored, &AbstractSession::loginFinished);
    restored.refresh();
    QVERIFY(restoredFinished.wait());
    const QJsonArray afterRefresh = m_emulator.requests(path(tokenUrl()));
    QCOMPARE(afterRefresh.size(), 2);
    QCOMPARE(form(afterRefresh.at(1)), tokenForm("refresh_token", "refresh_token", firstRefresh));
    const QString secondRefresh = restored.sessionState().value("refresh_token").toString();
    QVERIFY(secondRefresh.startsWith("refresh-") && secondRefresh != firstRefresh);
    QCOMPARE(restored.AbstractSession::login(), login);
}

void TestNimblaLoginOAuthSession::overlappingAttemptsKeepTheirStates()
{
    // The first attempt is answered last, so a session that compared answers
    // with its latest state, or with its states in sending order, would fail.
    m_emulator.injectFault(m_emulator.baseUrl().resolved(loginPath()), {{"delayMs", 700}, {"times", 1}});
    PasswordAttempt attempt("alice@example.com", "alice-password");

    attempt.session.tryLogin();
    QTRY_COMPARE(m_emulator.requests(loginPath()).size(), 1);
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.finished.count(), 2);
    QCOMPARE(attempt.errors.count(), 0);

    const QJsonArray logins = m_emulator.requests(loginPath());
    QVERIFY(logins.at(0).toObject().value("query") != logins.at(1).toObject().value("query"));
    const QJsonArray exchanges = m_emulator.requests(path(tokenUrl()));
    QCOMPARE(exchanges.size(), 2);
    QVERIFY(form(exchanges.at(0)).at(1) != form(exchanges.at(1)).at(1));
}

QTEST_GUILESS_MAIN(TestNimblaLoginOAuthSession)
#include "tst_nimblaloginoauthsession.moc"
