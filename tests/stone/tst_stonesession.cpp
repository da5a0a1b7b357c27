#include "sessions/stonesession.h"

#include "authmanager.h"
#include "emulatorfixture.h"
#include "libraryreports.h"
#include "napplication.h"
#include "transcript.h"

#include <QElapsedTimer>
#include <QtTest>

#include <memory>

using namespace NimblaSDK;

/*
 * The Stone sign-in against the stand-in launcher library that the emulator's
 * configuration names, and the emulator. The stand-in is steered by its
 * environment variables and writes down every call it gets, by the place in
 * its virtual table.
 */

namespace {

const QStringList Categories{QStringLiteral("logCatStoneAuth"), QStringLiteral("NimblaSDK.Core.ErrorLogger")};
const QByteArray StandInVariables[] = {"NIMBLA_STONE_NO_LAUNCHER", "NIMBLA_STONE_INIT_STATUS", "NIMBLA_STONE_ACCOUNT",
                                       "NIMBLA_STONE_USER_ID", "NIMBLA_STONE_TICKET"};
const QString CantGetLoginInformation = QStringLiteral("Login failed. Can't get login information.");
constexpr int NotExecutedDelayMs = 3000;

struct Outcome
{
    const char *tag;
    QByteArray userId;
    QByteArray ticket;
    QString authFields;   //!< of the configuration; null: the project's
    QString loginProject; //!< of the configuration; null: the emulator's
    QStringList ending;   //!< the transcript after "Send auth request", "%1" standing for the reply's error text
    QString login;        //!< the session's login at the end
};

QString stoneLoginUrl()
{
    return NApplication::instance().urlsManager()->stoneLoginUrl();
}

} // namespace

Q_DECLARE_METATYPE(Outcome)

class TestStoneSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void launcherCalls_data();
    void launcherCalls();
    void loginInformation_data();
    void loginInformation();
    void outcomes_data();
    void outcomes();
    void notExecuted_data();
    void notExecuted();

private:
    //! The stand-in's calls since init(), one per line.
    QStringList calls() const;

    EmulatorFixture m_emulator;
    QString m_callLog;
};

void TestStoneSession::initTestCase()
{
    QVERIFY(m_emulator.start());
    QVERIFY2(QFile::exists(m_emulator.config().value("stoneLauncherLibrary").toString()),
             "the emulator's configuration names the stand-in Stone launcher library");
    m_callLog = m_emulator.tempPath() + QStringLiteral("/stone-calls.log");
    qputenv("NIMBLA_STONE_CALL_LOG", m_callLog.toLocal8Bit());
}

void TestStoneSession::init()
{
    for (const QByteArray &name : StandInVariables)
        qunsetenv(name.constData());
    QFile::remove(m_callLog);
    QVERIFY(m_emulator.loadConfig());
    m_emulator.clearFaults();
    m_emulator.clearRequests();
    LibraryReports::clearJournals();
}

QStringList TestStoneSession::calls() const
{
    QFile log(m_callLog);
    if (!log.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(log.readAll()).split('\n', Qt::SkipEmptyParts);
}

void TestStoneSession::launcherCalls_data()
{
    QTest::addColumn<QString>("gameId");
    QTest::addColumn<QByteArray>("initStatus");
    QTest::addColumn<QString>("passedGameId");
    QTest::addColumn<bool>("initialized");

    QTest::newRow("game-id") << "4242" << QByteArray("0") << "4242" << true;
    QTest::newRow("status-102-succeeds") << "4242" << QByteArray("102") << "4242" << true;
    // Not a number: 0, still passed on.
    QTest::newRow("game-id-not-a-number") << "ironmarch" << QByteArray("0") << "0" << true;
    QTest::newRow("empty-game-id") << "" << QByteArray("0") << "0" << true;
    QTest::newRow("status-1-fails") << "4242" << QByteArray("1") << "4242" << false;
    QTest::newRow("status-101-fails") << "4242" << QByteArray("101") << "4242" << false;
}

void TestStoneSession::launcherCalls()
{
    QFETCH(QString, gameId);
    QFETCH(QByteArray, initStatus);
    QFETCH(QString, passedGameId);
    QFETCH(bool, initialized);
    qputenv("NIMBLA_STONE_INIT_STATUS", initStatus);

    Transcript transcript(Categories);
    AuthManager manager;
    manager.loginViaStone(gameId);
    QVERIFY(qobject_cast<StoneSession *>(manager.CurrentSession()));
    const QString initCall = "3 Ironmarch " + passedGameId + " reserved=null callback=0";
    // The status of place 4 is preset to 0.
    const QStringList infoCall = initialized ? QStringList{"4 status=0"} : QStringList();
    QCOMPARE(calls(), QStringList({"GetLauncher", initCall}) + infoCall);
    if (initialized) {
        QCOMPARE(transcript.entries().value(1),
                 "info: Send auth request Url: " + stoneLoginUrl().arg("stone-ticket-5001", passedGameId, "5001"));
        QTRY_COMPARE(m_emulator.requests(QUrl(stoneLoginUrl()).path()).size(), 1);
        QCOMPARE(m_emulator.requests(QUrl(stoneLoginUrl()).path()).first().toObject().value("query").toString(),
                 "ticket=stone-ticket-5001&game_id=" + passedGameId + "&user_id=5001");
    } else {
        QCOMPARE(transcript.entries(), QStringList{"debug: Can't init stone launcher. Error code: " + initStatus});
    }

    // Shut down once, when closing the session deletes it, whatever came before.
    manager.logout();
    QCOMPARE(calls().last(), QStringLiteral("15"));
    QCOMPARE(calls().count(QStringLiteral("15")), 1);
}

void TestStoneSession::loginInformation_data()
{
    QTest::addColumn<QByteArray>("account");
    QTest::addColumn<QByteArray>("userId");
    QTest::addColumn<QByteArray>("ticket");
    QTest::addColumn<QString>("stoneAccount");
    QTest::addColumn<qint32>("stoneUserId");

    const QByteArray ticket = "stone-ticket-5001";
    QTest::newRow("defaults") << QByteArray("stone-player") << QByteArray("5001") << ticket << "stone-player" << 5001;
    QTest::newRow("utf-8") << QByteArray("Ирина-Stone") << QByteArray("5001") << QByteArray("билет-5001")
                           << QString::fromUtf8("Ирина-Stone") << 5001;
    // An account that fills its 132 bytes has no NUL; the user id behind it stays apart.
    const QByteArray full(132, 'a');
    QTest::newRow("account-fills-its-room") << full << QByteArray("5001") << ticket << QString(full) << 5001;
    QTest::newRow("account-too-long") << QByteArray(200, 'b') << QByteArray("5001") << ticket << QString(132, 'b')
                                      << 5001;
    QTest::newRow("negative-user-id") << QByteArray("p") << QByteArray("-2") << ticket << "p" << -2;
}

void TestStoneSession::loginInformation()
{
    QFETCH(QByteArray, account);
    QFETCH(QByteArray, userId);
    QFETCH(QByteArray, ticket);
    QFETCH(QString, stoneAccount);
    QFETCH(qint32, stoneUserId);
    qputenv("NIMBLA_STONE_ACCOUNT", account);
    qputenv("NIMBLA_STONE_USER_ID", userId);
    qputenv("NIMBLA_STONE_TICKET", ticket);

    Transcript transcript(Categories);
    StoneSession session(nullptr, QStringLiteral("4242"));
    QVERIFY(session._initStoneLauncher());

    QCOMPARE(session.m_stoneAccount, stoneAccount);
    QCOMPARE(session.m_stoneUserId, stoneUserId);
    QCOMPARE(session.m_serviceTicket, QString::fromUtf8(ticket));
    QCOMPARE(transcript.entries(), QStringList{"info: Stone service ticket " + QString::fromUtf8(ticket)});
}

void TestStoneSession::outcomes_data()
{
    QTest::addColumn<Outcome>("row");
    const QStringList failedAuthorization{"critical: Can't get jwt",
                                          "warning: [authorization] Stone: Failed authorization - ",
                                          "error: " + CantGetLoginInformation};
    const QStringList refused{"critical: Msg: %1", "critical: Auth: Request failed!",
                              "warning: [authorization] Stone: Failed authorization - %1", "error: " + CantGetLoginInformation};
    const QStringList signedIn{"info: Auth success", "loginFinished"};
    const QList<Outcome> rows{
        {"account-with-email", "5001", "stone-ticket-5001", {}, {}, signedIn, "mike-stone@example.com"},
        {"no-email-asked-for", "5002", "stone-ticket-5002", {}, {}, {"needSendEmail"}, ""},
        // "email" is looked for as a part of the text, case and all.
        {"no-email-in-another-field", "5002", "stone-ticket-5002", "username,emailAddress", {}, {"needSendEmail"}, ""},
        {"no-email-not-asked-for", "5002", "stone-ticket-5002", "username", {}, signedIn, ""},
        {"no-email-asked-in-capitals", "5002", "stone-ticket-5002", "Email", {}, signedIn, ""},
        {"redirect-without-token", "5003", "stone-ticket-5003", {}, {}, failedAuthorization, ""},
        // A token the session turns down counts as none, never as an account without e-mail.
        {"token-of-another-project", "5002", "stone-ticket-5002", {}, "nimbla-other-project", failedAuthorization, ""},
        {"wrong-ticket", "5001", "not-the-ticket", {}, {}, refused, ""},
    };
    for (const Outcome &row : rows)
        QTest::newRow(row.tag) << row;
}

void TestStoneSession::outcomes()
{
    QFETCH(Outcome, row);
    QJsonObject overrides;
    if (!row.authFields.isNull())
        overrides.insert("authFields", row.authFields);
    if (!row.loginProject.isNull())
        overrides.insert("loginProjectId", row.loginProject);
    QVERIFY(m_emulator.loadConfig(overrides));
    if (!row.loginProject.isNull())
        QTest::ignoreMessage(QtCriticalMsg, "JWT token belongs to another login project");
    qputenv("NIMBLA_STONE_TICKET", row.ticket);

    Transcript transcript(Categories);
    StoneSession session(nullptr, QStringLiteral("4242"));
    connect(&session, &AbstractSession::error, this, [&](const QString &text) { transcript.add("error: " + text); });
    connect(&session, &AbstractSession::loginFinished, this, [&] { transcript.add("loginFinished"); });
    connect(&session, &StoneSession::needSendEmail, this, [&] { transcript.add("needSendEmail"); });
    qputenv("NIMBLA_STONE_USER_ID", row.userId);
    session.tryLogin();
    QTRY_COMPARE(transcript.entries().size(), 2 + row.ending.size());

    const QString address = stoneLoginUrl().arg(QString(row.ticket), "4242", QString(row.userId));
    const QStringList entries = transcript.entries();
    const QString errorText = entries.value(2).startsWith("critical: Msg: ") ? entries.value(2).mid(15) : QString();
    QStringList expected{"info: Stone service ticket " + QString(row.ticket),
                         "info: Send auth request Url: " + address};
    for (const QString &line : qAsConst(row.ending))
        expected << QString(line).replace("%1", errorText);
    QCOMPARE(entries, expected);
    // A refusal is a 401, in Qt's words.
    QCOMPARE(errorText, row.ending.first() == "critical: Msg: %1" ? QStringLiteral("Host requires authentication") : QString());
    QCOMPARE(session.login(), row.login);
}

void TestStoneSession::notExecuted_data()
{
    QTest::addColumn<QString>("library");
    QTest::addColumn<QByteArray>("noLauncher");
    QTest::addColumn<QByteArray>("initStatus");
    QTest::addColumn<QStringList>("before");
    QTest::addColumn<QStringList>("calls");

    const QString standIn; // the emulator's
    QTest::newRow("no-library") << m_emulator.tempPath() + "/no/such/libnimbla-stone-standin.so" << QByteArray()
                                << QByteArray() << QStringList() << QStringList();
    QTest::newRow("no-launcher") << standIn << QByteArray("1") << QByteArray() << QStringList()
                                 << QStringList{"GetLauncher"};
    QTest::newRow("initialisation-fails") << standIn << QByteArray() << QByteArray("7")
                                          << QStringList{"debug: Can't init stone launcher. Error code: 7"}
                                          << QStringList{"GetLauncher", "3 Ironmarch 4242 reserved=null callback=0",
                                                         "15"};
}

void TestStoneSession::notExecuted()
{
    QFETCH(QString, library);
    QFETCH(QByteArray, noLauncher);
    QFETCH(QByteArray, initStatus);
    QFETCH(QStringList, before);
    QFETCH(QStringList, calls);
    if (!library.isNull())
        QVERIFY(m_emulator.loadConfig({{"stoneLauncherLibrary", library}}));
    qputenv("NIMBLA_STONE_NO_LAUNCHER", noLauncher);
    qputenv("NIMBLA_STONE_INIT_STATUS", initStatus);
    // One deleted at once leaves nothing behind to fail in the transcript below: its timer went with it.
    StoneSession(nullptr, QStringLiteral("4242")).tryLogin();
    QFile::remove(m_callLog);

    Transcript transcript(Categories);
    auto session = std::make_unique<StoneSession>(nullptr, QStringLiteral("4242"));
    // The loader says why there is no launcher, at once.
    const QStringList warnings = transcript.entries();
    QCOMPARE(warnings.size(), initStatus.isEmpty() ? 1 : 0);
    if (!warnings.isEmpty())
        QVERIFY2(warnings.first().startsWith("warning: No Stone launcher: "), qPrintable(warnings.first()));
    transcript.clear();

    QSignalSpy failed(session.get(), &AbstractSession::error);
    connect(session.get(), &AbstractSession::error, this,
            [&](const QString &text) { transcript.add("error: " + text); });
    QElapsedTimer clock;
    clock.start();
    session->tryLogin();
    QCOMPARE(transcript.entries(), before);
    QVERIFY(failed.wait(NotExecutedDelayMs + 2000));
    const qint64 elapsed = clock.elapsed();
    QVERIFY2(elapsed >= NotExecutedDelayMs, qPrintable(QString::number(elapsed)));
    QCOMPARE(failed.count(), 1);
    const QStringList failure{"debug: Error: Stone launcher is not executed",
                              "warning: [authorization] Stone: stone launcher isnt running - ",
                              "error: Stone launcher is not executed"};
    QCOMPARE(transcript.entries(), before + failure);
    QVERIFY(m_emulator.requests().isEmpty());

    // Place 15 only on a launcher the session really has.
    session.reset();
    QCOMPARE(this->calls(), calls);
}

QTEST_GUILESS_MAIN(TestStoneSession)
#include "tst_stonesession.moc"
