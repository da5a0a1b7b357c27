#include "sessions/steamoauthsession.h"

#include "emulatorfixture.h"
#include "napplication.h"
#include "oauthmode.h"
#include "steamstandin.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace SteamStandIn;
using LibraryReports::errorReports;
using LibraryReports::trackedEvents;

namespace {

using OAuthAttempt = Attempt<SteamOAuthSession>;
using Items = QList<QPair<QString, QString>>;

const QString Persona = QStringLiteral("Ivan the Steam player");
const QString SucceededEvent = QStringLiteral("OAuthSteamAuthSuccessed");

QString steamOAuthLoginUrl()
{
    return NApplication::instance().urlsManager()->steamOAuthLoginUrl();
}

QString loginPath()
{
    return QUrl(steamOAuthLoginUrl()).path();
}

QString tokenPath()
{
    return QUrl(NApplication::instance().urlsManager()->oauthExchangeCodeUrl()).path();
}

Items form(const QJsonValue &request)
{
    return QUrlQuery(request.toObject().value("body").toString()).queryItems(QUrl::FullyDecoded);
}

QString sentState(const QJsonValue &request)
{
    return QUrlQuery(request.toObject().value("query").toString()).queryItemValue("state");
}

} // namespace

class TestSteamOAuthSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void placeholders_data();
    void placeholders();
    void everyTicketGetsANewState();
    void signsIn_data();
    void signsIn();
    void stateRefused_data();
    void stateRefused();
    void failures_data();
    void failures();
    void undecodableTokenGoesOn_data();
    void undecodableTokenGoesOn();
    void refreshesWithoutSteam_data();
    void refreshesWithoutSteam();
    void sendEmail_data();
    void sendEmail();

private:
    EmulatorFixture m_emulator;
    std::unique_ptr<Inspector> m_standIn;
};

void TestSteamOAuthSession::initTestCase()
{
    QVERIFY(m_emulator.start());
    m_standIn = std::make_unique<Inspector>();
    QVERIFY2(m_standIn->isLoaded(), qPrintable(libraryPath()));
}

void TestSteamOAuthSession::init()
{
    QVERIFY(m_emulator.loadConfig());
    m_emulator.clearRequests();
    m_emulator.clearFaults();
    m_emulator.setPkceRequired(false);
    LibraryReports::clearJournals();
    Client().apply();
    m_standIn->clearFault();
}

void TestSteamOAuthSession::cleanup()
{
    QCOMPARE(m_standIn->fault(), QString());
    QCOMPARE(m_standIn->registeredCallbacks(), 0);
    QVERIFY(!m_standIn->initialised());
}

void TestSteamOAuthSession::placeholders_data()
{
    QTest::addColumn<QString>("templateQuery");
    const QString client = "client_id=" + QString::number(101) + "&response_type=code";
    QTest::newRow("in-order") << client + "&state=%1&app_id=%2&ticket=%3";
    QTest::newRow("reversed") << "ticket=%3&app_id=%2&" + client + "&state=%1";
}

void TestSteamOAuthSession::placeholders()
{
    QFETCH(QString, templateQuery);
    const QString address = steamOAuthLoginUrl().section('?', 0, 0) + '?' + templateQuery;
    QVERIFY(m_emulator.loadConfig({{"urls", QJsonObject{{"steamOAuthLoginUrl", address}}}}));

    OAuthAttempt attempt(QStringLiteral("700100"));
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.finished.count(), 1);

    const QJsonArray requests = m_emulator.requests(loginPath());
    QCOMPARE(requests.size(), 1);
    const QString state = sentState(requests.at(0));
    QVERIFY(QRegularExpression("^[A-Za-z0-9]{12}$").match(state).hasMatch());
    const QString expected = QString(templateQuery)
                                     .replace("%1", state)
                                     .replace("%2", "700100")
                                     .replace("%3", QByteArray("steam-ivan").toHex());
    const QString query = requests.at(0).toObject().value("query").toString();
    QCOMPARE(query.section("&code_challenge=", 0, 0), expected);
    const QRegularExpression challenge("&code_challenge=[A-Za-z0-9_-]{43}&code_challenge_method=S256$");
    QVERIFY2(challenge.match(query).hasMatch(), qPrintable(query));
}

void TestSteamOAuthSession::everyTicketGetsANewState()
{
    Client client;
    client.ticket = "steam-nobody"; // refused, so that the session can ask again
    client.apply();
    OAuthAttempt attempt;
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 1);
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 2);

    const QJsonArray requests = m_emulator.requests(loginPath());
    QCOMPARE(requests.size(), 2);
    QVERIFY(sentState(requests.at(0)) != sentState(requests.at(1)));
}

void TestSteamOAuthSession::signsIn_data()
{
    QTest::addColumn<QByteArray>("ticket");
    QTest::addColumn<QString>("authFields");
    QTest::addColumn<bool>("asksForEmail");

    QTest::newRow("email-claim/email-field") << QByteArray("steam-ivan") << "email,username" << false;
    QTest::newRow("email-claim/no-email-field") << QByteArray("steam-ivan") << "username" << false;
    QTest::newRow("no-email-claim/email-field") << QByteArray("steam-judy") << "email" << true;
    QTest::newRow("no-email-claim/no-email-field") << QByteArray("steam-judy") << "username" << false;
    QTest::newRow("no-email-claim/other-case") << QByteArray("steam-judy") << "EMAIL" << false;
}

void TestSteamOAuthSession::signsIn()
{
    QFETCH(QByteArray, ticket);
    QFETCH(QString, authFields);
    QFETCH(bool, asksForEmail);
    QVERIFY(m_emulator.loadConfig({{"authFields", authFields}}));
    Client client;
    client.ticket = ticket;
    client.apply();

    OAuthAttempt attempt;
    attempt.session.tryLogin();
    QTRY_VERIFY(attempt.ended());
    QVERIFY(!attempt.errors.wait(300));

    QCOMPARE(attempt.errors.count(), 0);
    QCOMPARE(attempt.needEmail.count(), asksForEmail ? 1 : 0);
    QCOMPARE(attempt.finished.count(), asksForEmail ? 0 : 1);
    // Waiting for the e-mail, the tokens are neither announced nor recorded.
    QCOMPARE(attempt.refreshed.count(), asksForEmail ? 0 : 1);
    if (!asksForEmail) {
        const QVariantMap tokens = attempt.refreshed.at(0).at(0).toMap();
        QCOMPARE(tokens.value("access_token").toString(), attempt.session.jwt());
        QVERIFY(!tokens.value("refresh_token").toString().isEmpty());
    }
    QCOMPARE(attempt.session.sessionParameters().value("access_token").toString(),
             asksForEmail ? QString() : attempt.session.jwt());
    QCOMPARE(attempt.session.userName(), Persona);
    QCOMPARE(attempt.session.login(), ticket == "steam-ivan" ? QStringLiteral("ivan-steam@example.com") : QString());
    QCOMPARE(trackedEvents(), QStringList{SucceededEvent});
    QVERIFY(errorReports().isEmpty());

    // The code went to the token endpoint with the configured callback address.
    const QJsonArray exchanges = m_emulator.requests(tokenPath());
    QCOMPARE(exchanges.size(), 1);
    const Items exchange = form(exchanges.at(0));
    QCOMPARE(exchange.value(0), qMakePair(QStringLiteral("grant_type"), QStringLiteral("authorization_code")));
    QCOMPARE(exchange.value(3), qMakePair(QStringLiteral("redirect_uri"),
                                          NApplication::instance().configManager()->callbackUrl()));
}

void TestSteamOAuthSession::stateRefused_data()
{
    QTest::addColumn<QByteArray>("ticket");
    QTest::newRow("other-state") << QByteArray("steam-leo-wrongstate");
    QTest::newRow("no-state") << QByteArray("steam-mia-nostate");
}

void TestSteamOAuthSession::stateRefused()
{
    QFETCH(QByteArray, ticket);
    Client client;
    client.ticket = ticket;
    client.apply();

    OAuthAttempt attempt;
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 1);
    QVERIFY(!attempt.finished.wait(300));

    QCOMPARE(attempt.errors.at(0).at(0).toString(), QStringLiteral("Login url is compromised"));
    QVERIFY(trackedEvents().isEmpty());
    QVERIFY(errorReports().isEmpty());
    QCOMPARE(m_emulator.requests(tokenPath()).size(), 0);
}

void TestSteamOAuthSession::failures_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<QString>("message"); // a regular expression
    QTest::addColumn<QString>("report");  // a regular expression
    QTest::addColumn<QStringList>("events");

    const QString forbidden = "Error transferring http://\\S+ - server replied: Forbidden";
    QTest::newRow("init-fails") << "init-fails" << "Check steam client is running"
                                << "Steam: steam client isnt running \\|  \\| authorization" << QStringList();
    QTest::newRow("ticket-refused") << "ticket-refused" << "Check Steam client started"
                                    << "Steam: Failed get steam session ticket \\|  \\| authorization" << QStringList();
    QTest::newRow("unknown-ticket") << "unknown-ticket" << forbidden
                                    << "Steam: Failed auth \\| " + forbidden + " \\| authorization" << QStringList();
    // The state matches, so the redirect counts as a success; the exchange of no code then fails.
    const QString noCode = "invalid_request: [^|]+";
    QTest::newRow("redirect-without-code") << "no-code" << noCode
                                           << "NimblaOAuthLogin: Failed auth \\| " + noCode + " \\| authorization"
                                           << QStringList{SucceededEvent, "ExchangeOAuthCodeFailed"};
}

void TestSteamOAuthSession::failures()
{
    QFETCH(QString, setup);
    QFETCH(QString, message);
    QFETCH(QString, report);
    QFETCH(QStringList, events);
    Client client;
    client.initFails = setup == "init-fails";
    client.ticketResult = setup == "ticket-refused" ? 2 : 1;
    client.ticket = setup == "unknown-ticket" ? "steam-nobody" : setup == "no-code" ? "steam-kim-notoken" : "steam-ivan";
    client.apply();
    if (client.initFails)
        QTest::ignoreMessage(QtCriticalMsg, "Steam SDK isn't enabled.");

    OAuthAttempt attempt;
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 1);
    QVERIFY(!attempt.finished.wait(300));

    QVERIFY2(QRegularExpression("^" + message + "$").match(attempt.errors.at(0).at(0).toString()).hasMatch(),
             qPrintable(attempt.errors.at(0).at(0).toString()));
    const QStringList reports = errorReports();
    QCOMPARE(reports.size(), 1);
    QVERIFY2(QRegularExpression("^" + report + "$").match(reports.at(0)).hasMatch(), qPrintable(reports.at(0)));
    QCOMPARE(trackedEvents(), events);
}

void TestSteamOAuthSession::undecodableTokenGoesOn_data()
{
    QTest::addColumn<QString>("authFields");
    QTest::addColumn<bool>("asksForEmail");
    QTest::newRow("email-field") << "email,username" << true;
    QTest::newRow("no-email-field") << "username" << false;
}

void TestSteamOAuthSession::undecodableTokenGoesOn()
{
    QFETCH(QString, authFields);
    QFETCH(bool, asksForEmail);
    QVERIFY(m_emulator.loadConfig({{"authFields", authFields}}));
    m_emulator.injectFault(QUrl(NApplication::instance().urlsManager()->oauthExchangeCodeUrl()),
                           {{"status", 200}, {"body", "{\"access_token\": \"not-a-jwt\", \"refresh_token\": \"r\"}"}});

    OAuthAttempt attempt;
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 1);
    QVERIFY(!attempt.errors.wait(300));

    // The error does not end the sign-in: the empty identity goes on to the e-mail check.
    QCOMPARE(attempt.errors.at(0).at(0).toString(), QStringLiteral("JWT is invalid"));
    QCOMPARE(attempt.session.jwt(), QStringLiteral("not-a-jwt"));
    QCOMPARE(attempt.session.login(), QString());
    QCOMPARE(attempt.session.userId(), QString());
    QCOMPARE(attempt.needEmail.count(), asksForEmail ? 1 : 0);
    QCOMPARE(attempt.finished.count(), asksForEmail ? 0 : 1);
    QCOMPARE(attempt.refreshed.count(), asksForEmail ? 0 : 1);
}

void TestSteamOAuthSession::refreshesWithoutSteam_data()
{
    QTest::addColumn<OAuthMode>("mode");
    QTest::newRow("as-today") << OAuthMode::AsToday;
    QTest::newRow("base64-tokens") << OAuthMode::Base64Tokens;
    QTest::newRow("pkce-required") << OAuthMode::PkceRequired;
}

void TestSteamOAuthSession::refreshesWithoutSteam()
{
    QFETCH(OAuthMode, mode);
    if (mode == OAuthMode::PkceRequired)
        m_emulator.setPkceRequired(true);
    Client client;
    client.ticket = mode == OAuthMode::Base64Tokens ? "steam-sam-base64" : "steam-ivan";
    client.apply();

    OAuthAttempt attempt;
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.finished.count(), 1);
    const QString refreshToken = attempt.refreshed.at(0).at(0).toMap().value("refresh_token").toString();
    const int ticks = m_standIn->pumpCount();

    attempt.session.refresh();
    QTRY_COMPARE(attempt.finished.count(), 2);
    QCOMPARE(m_standIn->pumpCount(), ticks);
    QCOMPARE(m_emulator.requests(loginPath()).size(), 1);
    const QJsonArray exchanges = m_emulator.requests(tokenPath());
    QCOMPARE(exchanges.size(), 2);
    QCOMPARE(form(exchanges.at(1)).value(1), qMakePair(QStringLiteral("refresh_token"), refreshToken));
    QCOMPARE(holdsFormUnsafeCharacters(form(exchanges.at(0)).value(1).second), mode == OAuthMode::Base64Tokens);
    QCOMPARE(holdsFormUnsafeCharacters(refreshToken), mode == OAuthMode::Base64Tokens);
    QCOMPARE(attempt.session.userName(), Persona);
}

void TestSteamOAuthSession::sendEmail_data()
{
    QTest::addColumn<bool>("tokenRefused");
    QTest::newRow("stored") << false;
    QTest::newRow("token-refused") << true;
}

void TestSteamOAuthSession::sendEmail()
{
    QFETCH(bool, tokenRefused);
    Client client;
    client.ticket = "steam-nina";
    client.apply();

    OAuthAttempt attempt;
    if (!tokenRefused) {
        attempt.session.tryLogin();
        QTRY_COMPARE(attempt.needEmail.count(), 1);
    }
    attempt.session.sendEmail(QStringLiteral("nina-oauth@example.com"));
    QTRY_COMPARE(attempt.emailSent.count(), 1);
    QCOMPARE(attempt.emailSent.at(0).at(0).toBool(), !tokenRefused);
    QCOMPARE(attempt.finished.count(), 0);
    if (tokenRefused) {
        const QString error = attempt.emailSent.at(0).at(1).toString();
        QCOMPARE(error, QStringLiteral("Host requires authentication"));
        QCOMPARE(errorReports(), QStringList{"Steam: Failed send email | " + error + " | authorization"});
        return;
    }
    QCOMPARE(attempt.emailSent.at(0).at(1).toString(), QString());

    OAuthAttempt again;
    again.session.tryLogin();
    QTRY_COMPARE(again.finished.count(), 1);
    QCOMPARE(again.session.login(), QStringLiteral("nina-oauth@example.com"));
}

QTEST_MAIN(TestSteamOAuthSession)
#include "tst_steamoauthsession.moc"
