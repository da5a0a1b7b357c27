#include "sessions/nimblaloginoauthsession.h"

#include "emulatorfixture.h"
#include "loginsupport.h"
#include "napplication.h"
#include "oauthmode.h"
#include "storage/credentials.h"
#include "testenvironment.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace LoginSupport;

namespace {

// An account name of its own keeps this test's vault record away from the other tests'.
const QString Account = QStringLiteral("NimblaLoginOAuthSessionTests");
const QString Incorrect = QStringLiteral("Login or password is incorrect");

struct Failure
{
    const char *tag;
    QString login, password;
    bool faultOnToken;    // else on the login endpoint
    QJsonObject fault;
    QString emitted;      // in order; "captcha" for captchaIsNeeded()
    QString errorText;    // %1: the faulted URL
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

QString callbackUrl()
{
    return NApplication::instance().configManager()->callbackUrl();
}

using Form = QList<QPair<QString, QString>>;

Form form(const QJsonValue &request)
{
    return QUrlQuery(request.toObject().value("body").toString()).queryItems(QUrl::FullyDecoded);
}

//! What the token endpoint expects: the grant, its one item, the client and the callback address, in this order.
Form tokenForm(const QString &grant, const QString &name, const QString &value)
{
    return {{"grant_type", grant}, {name, value}, {"client_id", "101"}, {"redirect_uri", callbackUrl()}};
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
    void sessionStateWithoutSignIn();
    void savedAccountReadAndForgotten();

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

void TestNimblaLoginOAuthSession::failures_data()
{
    QTest::addColumn<Failure>("row");
    const QString alice = "alice@example.com", pw = "alice-password";
    const QStringList failed{"LoginPassAuthFailed"};
    const QStringList exchangeFailed{"OAuthLoginPassAuthSuccessed", "ExchangeOAuthCodeFailed"};
    const QString netTitle = "NimblaOAuthLogin: Authorization failed | @net | authorization";
    const QString incorrectTitle = "NimblaOAuthLogin: Login or password is incorrect |  | authorization";
    const QJsonObject server500{{"status", 500}, {"body", "Internal failure"}, {"contentType", "text/plain"}};
    const QJsonObject forgedRedirect{
            {"status", 200}, {"body", compactJson({{"login_url", "http://127.0.0.1:1/callback?code=code-1&state=ZZZZZZZZZZZZ"}})}};
    const QString text500 = httpErrorText("%1", "Internal Server Error");
    const QList<Failure> rows{
        {"no-password", alice, "", false, {}, "error",
         "Could not log in via the saved account.\n Please use your email and password or log in via a social network.",
         "NimblaOAuthLogin: Failed auth via saved account |  | authorization", 0, {}, false},
        {"server-error", alice, pw, false, server500, "error", text500, netTitle, QNetworkReply::InternalServerError,
         failed, false},
        {"connection-dropped", alice, pw, false, {{"drop", true}}, "error", "Connection closed", netTitle,
         QNetworkReply::RemoteHostClosedError, failed, false},
        {"captcha-demanded", "carol-captcha@example.com", "carol-password", false, {}, "captcha", "",
         "NimblaLogin: Incorrect captcha |  | authorization", 0, {}, false},
        {"service-refusal", alice, pw, false, refusal(403, "Account is blocked"), "error", "Account is blocked",
         "NimblaOAuthLogin: Failed auth | Account is blocked | authorization", 0, failed, false},
        {"wrong-password-user", "bob-locked@example.com", "bob-password", false, {}, "error", Incorrect,
         incorrectTitle, 0, failed, false},
        {"state-mismatch", alice, pw, false, forgedRedirect, "error", "Login url is compromised", "", 0, {}, false},
        // The policy page carries no state, so this flow cannot take it for a redirect of its own.
        {"policy-page-has-no-state", "dave-policy@example.com", "dave-password", false, {}, "error",
         "Login url is compromised", "", 0, {}, false},
        {"error-in-success", "erin-mixed@example.com", "erin-password", false, {}, "error+finished", Incorrect,
         incorrectTitle, 0, {"OAuthLoginPassAuthSuccessed", "OAuthLoginPassAuthFailed"}, true},
        {"code-exchange-refused", alice, pw, true, refusal(400, "invalid_grant: code expired"), "error",
         "invalid_grant: code expired", "NimblaOAuthLogin: Failed auth | invalid_grant: code expired | authorization",
         0, exchangeFailed, true},
        {"code-exchange-server-error", alice, pw, true, server500, "error", text500, netTitle,
         QNetworkReply::InternalServerError, exchangeFailed, true},
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

    NimblaLoginOAuthSession session(nullptr);
    session.setLogin(row.login);
    session.setPassword(row.password);
    QStringList seen;
    QString lastError;
    connect(&session, &AbstractSession::error, this, [&](const QString &text) { seen << "error"; lastError = text; });
    connect(&session, &AbstractSession::loginFinished, this, [&] { seen << "finished"; });
    connect(&session, &NimblaLoginOAuthSession::captchaIsNeeded, this, [&] { seen << "captcha"; });
    connect(&session, &NimblaLoginOAuthSession::privatePolicyIsNeeded, this, [&] { seen << "policy"; });
    ReplyWatch watch;

    session.tryLogin();
    if (!row.password.isEmpty()) {
        QTRY_COMPARE(watch.finished(loginPath()), 1);
        // Right after the login answer: a refused redirect has not even started an exchange. An
        // accepted one may have ended it already, now that nothing stalls the thread in between.
        QCOMPARE(ReplyWatch::alive(tokenPath) > 0 || watch.finished(tokenPath) > 0, row.exchanged);
        if (row.exchanged)
            QTRY_COMPARE(watch.finished(tokenPath), 1);
    }

    // The login URL carries this attempt's random state, so its text is taken from what the emulator saw.
    const QJsonArray logins = m_emulator.requests(loginPath());
    const QString faultedUrl = row.faultOnToken || logins.isEmpty()
            ? tokenUrl()
            : m_emulator.baseUrl().resolved(loginPath()).toString() + '?' + logins.at(0).toObject().value("query").toString();
    row.errorText.replace("%1", faultedUrl);
    row.report.replace("@net", (row.faultOnToken ? "exchange code failed " : "loading login_url failed ") + row.errorText
                                       + QChar(row.networkError));

    QCOMPARE(seen.join('+'), row.emitted);
    QCOMPARE(lastError, row.errorText);
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
    if (mode == OAuthMode::PkceRequired)
        m_emulator.setPkceRequired(true);

    NimblaLoginOAuthSession session(nullptr);
    session.setLogin(login);
    session.setPassword(password);
    QSignalSpy refreshed(&session, &AbstractSession::refreshed);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    session.tryLogin();
    QVERIFY(finished.wait());

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
    const QString verifier = form(exchanges.at(0)).value(4).second;
    QVERIFY(code.startsWith("code-"));
    QCOMPARE(holdsFormUnsafeCharacters(code), mode == OAuthMode::Base64Tokens);
    QCOMPARE(form(exchanges.at(0)),
             tokenForm("authorization_code", "code", code) << qMakePair(QStringLiteral("code_verifier"), verifier));
    // Every character outside the unreserved set is encoded, not only those a URL query would.
    const QString exchangeBody = exchanges.at(0).toObject().value("body").toString();
    QVERIFY(exchangeBody.contains("code=" + QUrl::toPercentEncoding(code) + '&'));

    const QJsonObject saved = session.sessionState();
    const QString firstRefresh = saved.value("refresh_token").toString();
    QVERIFY(firstRefresh.startsWith("refresh-"));
    QCOMPARE(holdsFormUnsafeCharacters(firstRefresh), mode == OAuthMode::Base64Tokens);
    QCOMPARE(saved.value("access_token").toString(), session.jwt());
    QCOMPARE(refreshed.at(0).at(0).toMap(), session.sessionParameters());
    QCOMPARE(session.accessKey(), accessKey);
    QCOMPARE(trackedEvents(), QStringList{"OAuthLoginPassAuthSuccessed"});
    QCOMPARE(readCredential(Account).secret, password);

    // The next run restores the saved state and renews the sign-in without a password.
    deleteCredential(Account);
    NimblaLoginOAuthSession restored(nullptr);
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

    // Rotation spent the first refresh token.
    NimblaLoginOAuthSession stale(nullptr);
    stale.setSessionState(saved);
    QSignalSpy staleErrors(&stale, &AbstractSession::error);
    stale.refresh();
    QVERIFY(staleErrors.wait());
    QCOMPARE(staleErrors.at(0).at(0).toString(), QStringLiteral("invalid_grant: refresh token is unknown or already used"));
}

void TestNimblaLoginOAuthSession::overlappingAttemptsKeepTheirStates()
{
    // The first attempt is answered last, so a session that compared answers
    // with its latest state, or with its states in sending order, would fail.
    m_emulator.injectFault(m_emulator.baseUrl().resolved(loginPath()), {{"delayMs", 700}, {"times", 1}});
    NimblaLoginOAuthSession session(nullptr);
    session.setLogin("alice@example.com");
    session.setPassword("alice-password");
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);

    session.tryLogin();
    QTRY_COMPARE(m_emulator.requests(loginPath()).size(), 1);
    session.tryLogin();
    QTRY_COMPARE(finished.count(), 2);
    QCOMPARE(errors.count(), 0);

    const QJsonArray logins = m_emulator.requests(loginPath());
    QVERIFY(logins.at(0).toObject().value("query") != logins.at(1).toObject().value("query"));
    const QJsonArray exchanges = m_emulator.requests(path(tokenUrl()));
    QCOMPARE(exchanges.size(), 2);
    QVERIFY(form(exchanges.at(0)).at(1) != form(exchanges.at(1)).at(1));
}

void TestNimblaLoginOAuthSession::sessionStateWithoutSignIn()
{
    NimblaLoginOAuthSession session(nullptr);
    QCOMPARE(session.sessionState(), QJsonObject({{"access_token", QJsonValue()}, {"refresh_token", QJsonValue()}}));

    // Restoring takes the two tokens as text and signs nothing in by itself.
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    session.setSessionState({{"access_token", "a-1"}, {"refresh_token", true}, {"extra", 1}});
    QCOMPARE(session.sessionState(), QJsonObject({{"access_token", "a-1"}, {"refresh_token", ""}}));
    QCOMPARE(ReplyWatch::alive(path(tokenUrl())), 0);
    QCOMPARE(finished.count(), 0);
}

void TestNimblaLoginOAuthSession::savedAccountReadAndForgotten()
{
    QVERIFY(writeCredential({Account, "alice@example.com", "alice-password"}));
    NimblaLoginOAuthSession session(nullptr);
    QCOMPARE(session.login(), QStringLiteral("alice@example.com"));
    QCOMPARE(session.password(), QStringLiteral("alice-password"));
    QVERIFY(session.rememberMe());

    session.logout();
    QCOMPARE(readCredential(Account).userName, QString());
    QCOMPARE(NimblaLoginOAuthSession(nullptr).login(), QString());
}

QTEST_GUILESS_MAIN(TestNimblaLoginOAuthSession)
#include "tst_nimblaloginoauthsession.moc"
