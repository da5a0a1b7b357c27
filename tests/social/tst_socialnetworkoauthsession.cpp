#include "server/ihttpserver.h"
#include "sessions/socialnetworkoauthsession.h"

#include "emulatorfixture.h"
#include "headlesschromium.h"
#include "napplication.h"
#include "oauthmode.h"
#include "signinattempt.h"
#include "testenvironment.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace SignIn;

namespace {

using OAuthAttempt = Attempt<SocialNetworkOAuthSession>;
using Items = QList<QPair<QString, QString>>;

enum class Forgery { None, State, Code, Challenge };

struct Failure
{
    const char *tag;
    QString provider;
    bool idleBrowser;
    Forgery forgery;   // of the redirect that comes back to the listener
    QString message;
    QString report;    // "title | details | area"; empty: none
    int exchanges;     // that reached the emulator
};

QString tokenEndpointPath()
{
    return QUrl(NApplication::instance().urlsManager()->oauthExchangeCodeUrl()).path();
}

Items tokenForm(const QJsonArray &exchanges, int index)
{
    return QUrlQuery(exchanges.at(index).toObject().value("body").toString()).queryItems(QUrl::FullyDecoded);
}

// Pins the lines that every started attempt writes.
void expectAttemptLines()
{
    QTest::ignoreMessage(QtInfoMsg, listenerStartedLine());
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^State: [A-Za-z0-9]{12}$")));
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("^http://\\S+/authorize\\?")));
}

} // namespace

Q_DECLARE_METATYPE(Failure)

class TestSocialNetworkOAuthSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void authorizationAddress_data();
    void authorizationAddress();
    void everyAttemptSendsTheSameState();

    void signsInThenRefreshes_data();
    void signsInThenRefreshes();
    void failures_data();
    void failures();
    void emptyProviderIsRefused();
    void refusedDesktopEndsTheAttempt();

private:
    EmulatorFixture m_emulator;
};

void TestSocialNetworkOAuthSession::initTestCase()
{
    QVERIFY(m_emulator.start());
}

void TestSocialNetworkOAuthSession::init()
{
    m_emulator.clearRequests();
    m_emulator.setPkceRequired(false);
    QVERIFY(m_emulator.loadConfig({{"authorizationTimeoutMs", 1500}}));
    ErrorLogger::instance(ErrorLoggerSettings()).clearRecentEntries();
}

void TestSocialNetworkOAuthSession::authorizationAddress_data()
{
    QTest::addColumn<QString>("authFields");
    QTest::addColumn<QString>("templateQuery");
    QTest::addColumn<QString>("scope");

    QTest::newRow("two-fields") << "email,username" << "" << "offline email username";
    QTest::newRow("no-fields") << "" << "" << "offline";
    QTest::newRow("empty-part-kept") << "email,,username" << "" << "offline email  username";
    QTest::newRow("template-with-query") << "email" << "display=popup&lang=en" << "offline email";
}

void TestSocialNetworkOAuthSession::authorizationAddress()
{
    QFETCH(QString, authFields);
    QFETCH(QString, templateQuery);
    QFETCH(QString, scope);

    QString endpoint = NApplication::instance().urlsManager()->loginAuthViaSocialNetwork();
    if (!templateQuery.isEmpty())
        endpoint += QLatin1Char('?') + templateQuery;
    QVERIFY(m_emulator.loadConfig({{"authFields", authFields}, {"urls", QJsonObject{{"loginAuthViaSocialNetwork", endpoint}}}}));

    OAuthAttempt attempt(Browser::Idle, QStringLiteral("testbook"));
    int openedWhenReady = -1;
    connect(&attempt.session, &SocialNetworkOAuthSession::loginUrlIsReady, this,
            [&] { openedWhenReady = attempt.browser.opened().size(); });
    expectAttemptLines();
    attempt.session.tryLogin();

    QCOMPARE(attempt.announced.size(), 1);
    QCOMPARE(openedWhenReady, 0);
    const QUrl address = attempt.address();
    QCOMPARE(attempt.browser.opened(), QList<QUrl>{address});
    QCOMPARE(address.path(), QUrl(endpoint.arg(QStringLiteral("testbook"))).path());

    // The template's own items first, then ours in this order; only the state, the port and the
    // challenge are not known ahead.
    const QString state = queryValue(address, "state");
    const QString challenge = queryValue(address, "code_challenge");
    const quint16 port = listenerPort(address, "redirect_uri");
    const Items expected = QUrlQuery(templateQuery).queryItems(QUrl::FullyDecoded)
            + Items{{"client_id", QString::number(NApplication::instance().configManager()->oauth2ClientId())},
                    {"response_type", "code"},
                    {"state", state},
                    {"redirect_uri", "http://localhost:" + QString::number(port)},
                    {"scope", scope},
                    {"code_challenge", challenge},
                    {"code_challenge_method", "S256"}};
    QCOMPARE(QUrlQuery(address).queryItems(QUrl::FullyDecoded), expected);
    QVERIFY(QRegularExpression(QStringLiteral("^[A-Za-z0-9]{12}$")).match(state).hasMatch());
    QVERIFY(QRegularExpression(QStringLiteral("^[A-Za-z0-9_-]{43}$")).match(challenge).hasMatch());
    QVERIFY(listens(port));
}

void TestSocialNetworkOAuthSession::everyAttemptSendsTheSameState()
{
    OAuthAttempt attempt(Browser::Idle, QStringLiteral("testbook"));
    expectAttemptLines();
    attempt.session.tryLogin();
    QTest::ignoreMessage(QtInfoMsg, "Can't start local server. It's already started on port "
                                            + QByteArray::number(listenerPort(attempt.address(), "redirect_uri")));
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^State: ")));
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("^http://")));
    attempt.session.tryLogin();

    QCOMPARE(attempt.announced.size(), 2);
    QCOMPARE(attempt.announced.at(1), attempt.announced.at(0));
}

void TestSocialNetworkOAuthSession::signsInThenRefreshes_data()
{
    QTest::addColumn<bool>("chromium");
    QTest::addColumn<OAuthMode>("mode");
    QTest::newRow("simulated-browser") << false << OAuthMode::AsToday;
    QTest::newRow("simulated-browser/base64-tokens") << false << OAuthMode::Base64Tokens;
    QTest::newRow("simulated-browser/pkce-required") << false << OAuthMode::PkceRequired;
    QTest::newRow("headless-chromium") << true << OAuthMode::AsToday;
}

void TestSocialNetworkOAuthSession::signsInThenRefreshes()
{
    QFETCH(bool, chromium);
    QFETCH(OAuthMode, mode);
    const bool base64 = mode == OAuthMode::Base64Tokens;
    const QString provider = base64 ? QStringLiteral("testbook-base64") : QStringLiteral("testbook");
    if (mode == OAuthMode::PkceRequired)
        m_emulator.setPkceRequired(true);
    HeadlessChromium realBrowser;
    if (chromium) {
        // Starting a real browser may take longer than the shortened time-out.
        QVERIFY(m_emulator.loadConfig());
        NIMBLA_REQUIRE_ENVIRONMENT(!HeadlessChromium::executable().isEmpty(),
                                   "chromium is not installed (scripts/lib.sh installs it)");
        realBrowser.install();
    }
    OAuthAttempt attempt(chromium ? Browser::Absent : Browser::Walking, provider);
    QSignalSpy walked(&attempt.browser, &SimulatedBrowser::finished);
    expectAttemptLines();
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    attempt.session.tryLogin();

    QVERIFY(attempt.finished.wait(chromium ? 50000 : 15000));
    QVERIFY(attempt.finishedOnMainThread);
    QCOMPARE(attempt.session.login(), base64 ? "rob-base64@example.com" : "frank-testbook@example.com");
    QCOMPARE(attempt.session.externalUserId(), base64 ? "testbook-000045" : "testbook-000042");
    QCOMPARE((chromium ? realBrowser.opened() : attempt.browser.opened()).size(), 1);
    if (!chromium) {
        QTRY_COMPARE(walked.count(), 1);
        QCOMPARE(attempt.browser.hops().size(), 3);
        QCOMPARE(attempt.browser.hops().at(1).status, 302);
        QCOMPARE(attempt.browser.hops().at(2).url, QUrl(NApplication::instance().configManager()->callbackUrl()));
    }

    // The code went to the token endpoint with the redirect address it was issued for.
    QJsonArray exchanges = m_emulator.requests(tokenEndpointPath());
    QCOMPARE(exchanges.size(), 1);
    const Items exchange = tokenForm(exchanges, 0);
    QCOMPARE(exchange.value(0), qMakePair(QStringLiteral("grant_type"), QStringLiteral("authorization_code")));
    QCOMPARE(exchange.value(3), qMakePair(QStringLiteral("redirect_uri"), queryValue(attempt.address(), "redirect_uri")));
    QCOMPARE(holdsFormUnsafeCharacters(exchange.value(1).second), base64);
    const QJsonObject saved = attempt.session.sessionState();
    QCOMPARE(saved.value("access_token").toString(), attempt.session.jwt());
    QCOMPARE(holdsFormUnsafeCharacters(saved.value("refresh_token").toString()), base64);
    QVERIFY(!attempt.errors.wait(2500));
    QVERIFY(errorReports().isEmpty());

    // A later run restores the saved state and signs in again without the browser.
    SocialNetworkOAuthSession restored(provider, nullptr);
    QSignalSpy restoredFinished(&restored, &AbstractSession::loginFinished);
    restored.setSessionState(saved);
    restored.refresh();
    QVERIFY(restoredFinished.wait(15000));
    QCOMPARE((chromium ? realBrowser.opened() : attempt.browser.opened()).size(), 1);
    QCOMPARE(restored.userName(), base64 ? "rob" : "frank");
    exchanges = m_emulator.requests(tokenEndpointPath());
    QCOMPARE(exchanges.size(), 2);
    QCOMPARE(tokenForm(exchanges, 1),
             (Items{{"grant_type", "refresh_token"},
                    {"refresh_token", saved.value("refresh_token").toString()},
                    {"client_id", QString::number(NApplication::instance().configManager()->oauth2ClientId())},
                    {"redirect_uri", NApplication::instance().configManager()->callbackUrl()}}));
}

void TestSocialNetworkOAuthSession::failures_data()
{
    QTest::addColumn<Failure>("row");
    const QString network = "Social auth: network error |  | authorization";
    const QString unknownCode = "invalid_grant: authorization code is unknown or already used";
    const QString wrongVerifier = "invalid_grant: code_verifier is missing or does not match the code_challenge";
    for (const Failure &row : {
             Failure{"no-code", "testbook-notoken", false, Forgery::None, "Network error", network, 0},
             Failure{"state-mismatch", "testbook", false, Forgery::State, "Login url is compromised", "", 0},
             Failure{"forged-code", "testbook", false, Forgery::Code, unknownCode,
                     "NimblaOAuthLogin: Failed auth | " + unknownCode + " | authorization", 1},
             Failure{"wrong-verifier", "testbook", false, Forgery::Challenge, wrongVerifier,
                     "NimblaOAuthLogin: Failed auth | " + wrongVerifier + " | authorization", 1},
             Failure{"browser-closed", "testbook", true, Forgery::None, "Authorization timeout",
                     "Social auth: Timeout error |  | authorization", 0},
         })
        QTest::newRow(row.tag) << row;
}

void TestSocialNetworkOAuthSession::failures()
{
    QFETCH(Failure, row);

    OAuthAttempt attempt(row.idleBrowser ? Browser::Idle : Browser::Walking, row.provider);
    attempt.browser.setRewrite([forgery = row.forgery](QUrl url) {
        // The challenge is forged on the way to the service, the others on the way back.
        const bool toListener = url.host() == QLatin1String("localhost");
        if (forgery == Forgery::None || toListener == (forgery == Forgery::Challenge))
            return url;
        QUrlQuery query(url);
        const QString name = forgery == Forgery::State ? QStringLiteral("state")
                : forgery == Forgery::Code             ? QStringLiteral("code")
                                                       : QStringLiteral("code_challenge");
        query.removeAllQueryItems(name);
        // Long enough for a well-formed challenge, so that only the exchange can tell.
        query.addQueryItem(name, QStringLiteral("forged0forged").repeated(4));
        url.setQuery(query);
        return url;
    });
    expectAttemptLines();
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    const bool unanswered = row.message == QLatin1String("Network error");
    if (unanswered) {
        QTest::ignoreMessage(QtInfoMsg, "Social Auth with OAuth2 Failed!");
        QTest::ignoreMessage(QtCriticalMsg, "Can't get JWT token");
    }
    if (row.forgery == Forgery::Code || row.forgery == Forgery::Challenge) {
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("^exchange code failed invalid_grant")));
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("^Reply: ")));
    }
    attempt.session.tryLogin();

    QVERIFY(attempt.errors.wait(15000));
    QVERIFY(!listens(listenerPort(attempt.browser.opened().value(0), "redirect_uri")));
    QCOMPARE(m_emulator.requests(tokenEndpointPath()).size(), row.exchanges);
    QCOMPARE(attempt.finished.count(), 0);
    // A browser may repeat a request that got no answer at all, and each
    // repeat that reached the listener is one more failed callback.
    const int count = attempt.errors.count();
    QVERIFY(unanswered ? count >= 1 : count == 1);
    QCOMPARE(texts(attempt.errors), repeated(row.message, count));
    QCOMPARE(errorReports(), repeated(row.report, row.report.isEmpty() ? 0 : count));
}

void TestSocialNetworkOAuthSession::emptyProviderIsRefused()
{
    OAuthAttempt attempt(Browser::Walking, QString());
    QTest::ignoreMessage(QtCriticalMsg, "Social provider not chosen");
    attempt.session.tryLogin();

    QCOMPARE(texts(attempt.errors), QStringList{"Social provider not chosen"});
    QCOMPARE(attempt.announced.size(), 0);
    QVERIFY(attempt.browser.opened().isEmpty());
    QCOMPARE(attempt.session.findChild<IHttpServer *>()->port(), 0);
    QCOMPARE(errorReports(), QStringList{"SocialAuth: Social provider not choosen |  | authorization"});
}

void TestSocialNetworkOAuthSession::refusedDesktopEndsTheAttempt()
{
    // No handler is installed, and the test platform has no browser to offer.
    OAuthAttempt attempt(Browser::Absent, QStringLiteral("testbook"));
    QSignalSpy refused(&attempt.session, &SocialNetworkOAuthSession::openUrlExternallyError);
    expectAttemptLines();
    QTest::ignoreMessage(QtWarningMsg, refusedByDesktop());
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    attempt.session.tryLogin();

    QCOMPARE(texts(refused), attempt.announced);
    QCOMPARE(attempt.announced.size(), 1);
    QVERIFY(!listens(listenerPort(attempt.address(), "redirect_uri")));
    QVERIFY(!attempt.errors.wait(2500));
    QVERIFY(errorReports().isEmpty());
}

QTEST_MAIN(TestSocialNetworkOAuthSession)
#include "tst_socialnetworkoauthsession.moc"
