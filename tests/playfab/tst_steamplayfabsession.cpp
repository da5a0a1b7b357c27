#include "sessions/steamplayfabsession.h"

#include "authmanager.h"
#include "playfabcases.h"
#include "steamsuite.h"
#include "storage/credentials.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace SteamStandIn;
using namespace LibraryReports;

namespace {

// An account name of its own keeps this test's vault record away from the other tests'.
const QString Account = QStringLiteral("SteamPlayfabSessionTests");
const QString PeggyId = QStringLiteral("9E6600000000000D");
const QJsonObject Config{{"appAccountName", Account}, {"authFields", "email,username"}};
const PlayfabCases::Kind Playfab{"SteamPlayfabAuth", "playfabSteamLoginUrl", "PlayfabSteam: Login failed",
                                 "PlayfabSteam: Auth request failed", "PlayfabSteam: Redirect request failed", false, Config};

SDKSettings *settings()
{
    return NApplication::instance().settingsManager();
}

QString pathOf(const char *key)
{
    return QUrl(PlayfabCases::configuredUrl(key)).path();
}

QString hex(const QByteArray &ticket)
{
    return QString::fromLatin1(ticket.toHex());
}

} // namespace

class TestSteamPlayfabSession : public SteamSuite
{
    Q_OBJECT

public:
    TestSteamPlayfabSession()
        : SteamSuite({"PlayfabSteam: Steam client isnt running", "PlayfabSteam: Failed get steam session ticket",
                      "SteamPlayfab: Failed send email", true, "steam-playfab-peggy", Config, true})
    {
    }

private:
    AbstractSession *newSession() override { return new SteamPlayfabSession(nullptr); }
    void prepare() override { deleteCredential(Account); }

private Q_SLOTS:
    void cleanupTestCase();
    void signsIn_data();
    void signsIn();
    void exchangeFailures_data();
    void exchangeFailures();
};

void TestSteamPlayfabSession::cleanupTestCase()
{
    deleteCredential(Account);
}

void TestSteamPlayfabSession::signsIn_data()
{
    QTest::addColumn<QByteArray>("steamAccount");
    QTest::addColumn<bool>("seeded");
    QTest::newRow("seeded-player") << QByteArray("steam-playfab-peggy") << true;
    // "CreateAccount" makes PlayFab take a Steam account it has never seen.
    QTest::newRow("new-player") << QByteArray("steam-playfab-newcomer") << false;
}

void TestSteamPlayfabSession::signsIn()
{
    QFETCH(QByteArray, steamAccount);
    QFETCH(bool, seeded);
    playTicket(steamAccount);
    const CredentialRecord saved{Account, QStringLiteral("carol@example.com"), QStringLiteral("carol-password")};
    QVERIFY(writeCredential(saved));
    settings()->setRememberMe(false);

    SteamAttempt attempt(newSession(), SteamAttempt::SignIn);
    QTRY_COMPARE(attempt.finished.count(), 1);
    // An account without e-mail, and the product asks for one: still no question.
    QVERIFY(!attempt.needEmail.wait(300));
    QCOMPARE(attempt.needEmail.count(), 0);
    QCOMPARE(attempt.errors.count(), 0);
    QVERIFY(errorReports().isEmpty());

    const QString playfabId = settings()->playfabId();
    if (seeded)
        QCOMPARE(playfabId, PeggyId);
    else
        QVERIFY2(QRegularExpression("^[0-9A-F]{16}$").match(playfabId).hasMatch() && playfabId != PeggyId,
                 qPrintable(playfabId));
    QVERIFY(settings()->playfabToken().startsWith(playfabId + '-'));
    // The token's own claims, through the base: its "username", not the Steam name. (The shared
    // sendEmail() gives the seeded player an e-mail.)
    const AbstractSession &session = *attempt.session;
    if (!seeded)
        QCOMPARE(session.login(), QString());
    QCOMPARE(session.userName(), QString::fromLatin1(steamAccount));
    QCOMPARE(session.userId(), "playfab-" + playfabId);
    QCOMPARE(session.externalUserId(), playfabId);
    QCOMPARE(attempt.refreshed.count(), 1);
    QCOMPARE(attempt.refreshed.at(0).at(0).toMap(), (QVariantMap{{"access_token", session.jwt()}}));

    // This player's logins only: Qt sends a request again when its connection closed under it, and
    // the repeat of an earlier case's login can arrive after that case has ended.
    QJsonArray logins;
    for (const QJsonValue &request : m_emulator.requests(pathOf("playfabSteamLoginUrl"))) {
        if (request.toObject().value("body").toString().contains(hex(steamAccount)))
            logins.append(request);
    }
    QCOMPARE(logins.size(), 1);
    const QJsonObject login = logins.first().toObject();
    QCOMPARE(login.value("method").toString(), QStringLiteral("POST"));
    QCOMPARE(login.value("headers").toObject().value("content-type").toString(), QStringLiteral("application/json"));
    // The ticket first, as PlayFab has always been sent it.
    QCOMPARE(login.value("body").toString(), QStringLiteral("{\n"
                                                            "    \"SteamTicket\": \"%1\",\n"
                                                            "    \"CreateAccount\": true,\n"
                                                            "    \"TitleId\": \"0x7F\"\n"
                                                            "}\n")
                                                     .arg(hex(steamAccount)));
    QCOMPARE(m_emulator.requests(pathOf("playfabCrossAuthUrl")).size(), 1);

    // Nothing saved: neither the shared account nor the remember-me flag.
    QCOMPARE(readCredential(Account).userName, saved.userName);
    QCOMPARE(readCredential(Account).secret, saved.secret);
    QCOMPARE(settings()->rememberMe(), false);

    // The player PlayFab made is found again.
    SteamAttempt again(newSession(), SteamAttempt::SignIn);
    QTRY_COMPARE(again.finished.count(), 1);
    QCOMPARE(settings()->playfabId(), playfabId);
}

void TestSteamPlayfabSession::exchangeFailures_data()
{
    PlayfabCases::exchangeFailures_data();
}

void TestSteamPlayfabSession::exchangeFailures()
{
    PlayfabCases::exchangeFailures(m_emulator, Playfab, [this] { return newSession(); });
}

QTEST_GUILESS_MAIN(TestSteamPlayfabSession)
#include "tst_steamplayfabsession.moc"
