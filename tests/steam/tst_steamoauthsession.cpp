#include "sessions/steamoauthsession.h"

#include "napplication.h"
#include "oauthmode.h"
#include "steamsuite.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace SteamStandIn;
using LibraryReports::errorReports;
using LibraryReports::trackedEvents;

namespace {

using Items = QList<QPair<QString, QString>>;

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

class TestSteamOAuthSession : public SteamSuite
{
    Q_OBJECT

public:
    TestSteamOAuthSession()
        : SteamSuite(Kind())
    {
    }

private:
    AbstractSession *newSession() override
    {
        auto *session = new SteamOAuthSession(nullptr);
        session->setSteamAppId(QStringLiteral("700100"));
        return session;
    }
    void prepare() override { m_emulator.setPkceRequired(false); }

private Q_SLOTS:
    void placeholders();
    void everyTicketGetsANewState();
    void signsIn_data();
    void signsIn();
    void refreshesWithoutSteam();
    void otherStateRefused();
};

// The address's placeholders in another order than the configuration's.
void TestSteamOAuthSession::placeholders()
{
    const QString templateQuery = "ticket=%3&app_id=%2&client_id=101&response_type=code&state=%1";
    QVERIFY(loadConfig({{"urls", QJsonObject{{"steamOAuthLoginUrl", steamOAuthLoginUrl().section('?', 0, 0) + '?' + templateQuery}}}}));

    SteamAttempt attempt(newSession(), SteamAttempt::SignIn);
    QTRY_COMPARE(attempt.finished.count(), 1);

    const QJsonArray requests = m_emulator.requests(loginPath());
    QCOMPARE(requests.size(), 1);
    const QString state = sentState(requests.at(0));
    QVERIFY(QRegularExpression("^[A-Za-z0-9]{12}$").match(state).hasMatch());
    const QString query = requests.at(0).toObject().value("query").toString();
    QCOMPARE(query.section("&code_challenge=", 0, 0),
             QString(templateQuery).replace("%1", state).replace("%2", "700100").replace("%3", QByteArray("steam-ivan").toHex()));
    const QRegularExpression challenge("&code_challenge=[A-Za-z0-9_-]{43}&code_challenge_method=S256$");
    QVERIFY2(challenge.match(query).hasMatch(), qPrintable(query));
}

void TestSteamOAuthSession::everyTicketGetsANewState()
{
    playTicket("steam-nobody"); // refused, so that the session can ask again
    SteamAttempt attempt(newSession(), SteamAttempt::SignIn);
    QTRY_COMPARE(attempt.errors.count(), 1);
    const QString error = attempt.errors.at(0).at(0).toString();
    QVERIFY2(QRegularExpression("^Error transferring http://\\S+ - server replied: Forbidden$").match(error).hasMatch(),
             qPrintable(error));
    QCOMPARE(errorReports(), QStringList{"Steam: Failed auth | " + error + " | authorization"});
    attempt.session->tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 2);

    const QJsonArray requests = m_emulator.requests(loginPath());
    QCOMPARE(requests.size(), 2);
    QVERIFY(sentState(requests.at(0)) != sentState(requests.at(1)));
    QVERIFY(trackedEvents().isEmpty());
}

void TestSteamOAuthSession::signsIn_data()
{
    QTest::addColumn<QByteArray>("ticket");
    QTest::addColumn<QString>("authFields");
    QTest::addColumn<bool>("asksForEmail");
    QTest::addColumn<bool>("undecodable");

    // The rest of the e-mail check is the Steam sign-in's, shared with the other Steam sessions.
    QTest::newRow("email-claim/email-field") << QByteArray("steam-ivan") << "email,username" << false << false;
    QTest::newRow("no-email-claim/email-field") << QByteArray("steam-judy") << "email" << true << false;
    QTest::newRow("no-email-claim/no-email-field") << QByteArray("steam-judy") << "username" << false << false;
    // Reported, and not the end: the empty identity goes on to the e-mail check.
    QTest::newRow("undecodable-token") << QByteArray("steam-ivan") << "email" << true << true;
}

void TestSteamOAuthSession::signsIn()
{
    QFETCH(QByteArray, ticket);
    QFETCH(QString, authFields);
    QFETCH(bool, asksForEmail);
    QFETCH(bool, undecodable);
    QVERIFY(loadConfig({{"authFields", authFields}}));
    playTicket(ticket);
    if (undecodable)
        m_emulator.injectFault(QUrl(NApplication::instance().urlsManager()->oauthExchangeCodeUrl()),
                               {{"status", 200}, {"body", "{\"access_token\": \"not-a-jwt\", \"refresh_token\": \"r\"}"}});

    SteamAttempt attempt(newSession());
    const auto &session = static_cast<const SteamOAuthSession &>(*attempt.session);
    attempt.session->tryLogin();
    QTRY_VERIFY(attempt.ended());
    QVERIFY(!attempt.errors.wait(300));

    QCOMPARE(attempt.errors.count(), undecodable ? 1 : 0);
    if (undecodable)
        QCOMPARE(attempt.errors.at(0).at(0).toString(), QStringLiteral("JWT is invalid"));
    QCOMPARE(session.jwt() == "not-a-jwt", undecodable);
    QCOMPARE(attempt.needEmail.count(), asksForEmail ? 1 : 0);
    QCOMPARE(attempt.finished.count(), asksForEmail ? 0 : 1);
    // Waiting for the e-mail, the tokens are neither announced nor recorded.
    QCOMPARE(attempt.refreshed.count(), asksForEmail ? 0 : 1);
    if (!asksForEmail) {
        const QVariantMap tokens = attempt.refreshed.at(0).at(0).toMap();
        QCOMPARE(tokens.value("access_token").toString(), session.jwt());
        QVERIFY(!tokens.value("refresh_token").toString().isEmpty());
    }
    QCOMPARE(session.sessionParameters().value("access_token").toString(), asksForEmail ? QString() : session.jwt());
    QCOMPARE(session.userName(), QStringLiteral("Ivan the Steam player"));
    QCOMPARE(session.login(), ticket == "steam-ivan" && !undecodable ? QStringLiteral("ivan-steam@example.com") : QString());
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

// A player whose code and refresh token hold '+', '/' and '=', where a code challenge is required.
void TestSteamOAuthSession::refreshesWithoutSteam()
{
    m_emulator.setPkceRequired(true);
    playTicket("steam-sam-base64");

    SteamAttempt attempt(newSession(), SteamAttempt::SignIn);
    QTRY_COMPARE(attempt.finished.count(), 1);
    const QString refreshToken = attempt.refreshed.at(0).at(0).toMap().value("refresh_token").toString();
    const int ticks = m_standIn->pumpCount();

    attempt.session->refresh();
    QTRY_COMPARE(attempt.finished.count(), 2);
    QCOMPARE(m_standIn->pumpCount(), ticks);
    QCOMPARE(m_emulator.requests(loginPath()).size(), 1);
    const QJsonArray exchanges = m_emulator.requests(tokenPath());
    QCOMPARE(exchanges.size(), 2);
    QVERIFY(holdsFormUnsafeCharacters(form(exchanges.at(0)).value(1).second));
    QVERIFY(holdsFormUnsafeCharacters(refreshToken));
    QCOMPARE(form(exchanges.at(1)).value(1), qMakePair(QStringLiteral("refresh_token"), refreshToken));
    QCOMPARE(attempt.session->userName(), QStringLiteral("Ivan the Steam player"));
}

// The service's redirect must carry the state that this sign-in sent.
void TestSteamOAuthSession::otherStateRefused()
{
    playTicket("steam-leo-wrongstate");
    SteamAttempt attempt(newSession(), SteamAttempt::SignIn);
    QTRY_COMPARE(attempt.errors.count(), 1);
    QCOMPARE(attempt.errors.at(0).at(0).toString(), QStringLiteral("Login url is compromised"));
    QVERIFY(!attempt.finished.wait(300));
    QVERIFY(m_emulator.requests(tokenPath()).isEmpty());
}

QTEST_MAIN(TestSteamOAuthSession)
#include "tst_steamoauthsession.moc"
