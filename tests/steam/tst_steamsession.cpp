#include "authmanager.h"
#include "sessions/steamsession.h"

#include "napplication.h"
#include "steamsuite.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace SteamStandIn;
using LibraryReports::errorReports;
using LibraryReports::trackedEvents;

namespace {

const QString Persona = QStringLiteral("Ivan the Steam player");

QString steamLoginUrl()
{
    return NApplication::instance().urlsManager()->steamLoginUrl();
}

QString loginPath()
{
    return QUrl(steamLoginUrl()).path();
}

} // namespace

class TestSteamSession : public SteamSuite
{
    Q_OBJECT

public:
    TestSteamSession()
        : SteamSuite(Kind())
    {
    }

private:
    AbstractSession *newSession() override
    {
        auto *session = new SteamSession(nullptr);
        session->setSteamAppId(QStringLiteral("700100"));
        return session;
    }

private Q_SLOTS:
    void ticketText_data();
    void ticketText();
    void placeholders();
    void signsIn_data();
    void signsIn();
    void pumpRunsUntilAnOkTicket();
    void initialisation_data();
    void initialisation();
    void managerSignsInTwiceInARow();
};

void TestSteamSession::ticketText_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");

    QByteArray everyValue;
    for (int value = 0; value < 256; ++value)
        everyValue.append(char(value));
    const QByteArray full(1024, '\xA5');
    QTest::newRow("every-byte-value") << everyValue << QString::fromLatin1(everyValue.toHex());
    QTest::newRow("whole-buffer") << full << QString::fromLatin1(full.toHex());
    QTest::newRow("longer-than-the-buffer") << QByteArray(1100, '\x5a')
                                            << QString::fromLatin1(QByteArray(1024, '\x5a').toHex());
}

void TestSteamSession::ticketText()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    Client client;
    client.ticketHex = bytes.toHex();
    client.apply();

    SteamAttempt attempt(newSession(), SteamAttempt::SignIn);
    QTRY_COMPARE(attempt.errors.count(), 1);

    // Two lower-case digits a byte, up to the 1024 bytes of the buffer.
    QCOMPARE(text.size(), 2 * qMin(bytes.size(), 1024));
    const QJsonArray requests = m_emulator.requests(loginPath());
    QCOMPARE(requests.size(), 1);
    QCOMPARE(QUrlQuery(requests.at(0).toObject().value("query").toString()).queryItemValue("ticket"), text);
    QCOMPARE(NApplication::instance().settingsManager()->steamSessionticket(), text);
    // No seeded account has this ticket.
    const QString error = attempt.errors.at(0).at(0).toString();
    QVERIFY2(QRegularExpression("^Error transferring http://\\S+ - server replied: Forbidden$").match(error).hasMatch(),
             qPrintable(error));
    QCOMPARE(errorReports(), QStringList{"Steam: Failed auth | " + error + " | authorization"});
    QCOMPARE(attempt.finished.count() + attempt.needEmail.count(), 0);
}

// The address's placeholders in another order than the configuration's.
void TestSteamSession::placeholders()
{
    const QString address = steamLoginUrl().section('?', 0, 0) + "?ticket=%2&app_id=%1";
    QVERIFY(loadConfig({{"urls", QJsonObject{{"steamLoginUrl", address}}}}));

    SteamAttempt attempt(newSession(), SteamAttempt::SignIn);
    QTRY_COMPARE(attempt.finished.count(), 1);

    const QJsonArray requests = m_emulator.requests(loginPath());
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.at(0).toObject().value("query").toString(), "ticket=" + QByteArray("steam-ivan").toHex() + "&app_id=700100");
}

void TestSteamSession::signsIn_data()
{
    QTest::addColumn<QByteArray>("ticket");
    QTest::addColumn<QString>("authFields");
    QTest::addColumn<bool>("asksForEmail");
    QTest::addColumn<QString>("login");

    const QString ivan = QStringLiteral("ivan-steam@example.com");
    QTest::newRow("email-claim/email-field") << QByteArray("steam-ivan") << "email,username" << false << ivan;
    QTest::newRow("email-claim/no-email-field") << QByteArray("steam-ivan") << "username" << false << ivan;
    QTest::newRow("no-email-claim/email-field") << QByteArray("steam-judy") << "email,username" << true << "";
    QTest::newRow("no-email-claim/field-in-a-longer-name") << QByteArray("steam-judy") << "username,emails" << true << "";
    QTest::newRow("no-email-claim/no-email-field") << QByteArray("steam-judy") << "username" << false << "";
    QTest::newRow("no-email-claim/other-case") << QByteArray("steam-judy") << "Email" << false << "";
    QTest::newRow("no-email-claim/no-fields") << QByteArray("steam-judy") << "" << false << "";
    // No error of its own: an empty token, and the e-mail check decides.
    QTest::newRow("no-token/email-field") << QByteArray("steam-kim-notoken") << "email,username" << true << "";
    QTest::newRow("no-token/no-email-field") << QByteArray("steam-kim-notoken") << "username" << false << "";
}

void TestSteamSession::signsIn()
{
    QFETCH(QByteArray, ticket);
    QFETCH(QString, authFields);
    QFETCH(bool, asksForEmail);
    QFETCH(QString, login);
    QVERIFY(loadConfig({{"authFields", authFields}}));
    playTicket(ticket);

    SteamAttempt attempt(newSession(), SteamAttempt::SignIn);
    QTRY_VERIFY(attempt.ended());
    // Neither answer is followed by the other.
    QVERIFY(!attempt.errors.wait(300));

    QCOMPARE(attempt.needEmail.count(), asksForEmail ? 1 : 0);
    QCOMPARE(attempt.finished.count(), asksForEmail ? 0 : 1);
    QCOMPARE(attempt.errors.count(), 0);
    const AbstractSession &session = *attempt.session;
    QCOMPARE(session.login(), login);
    // The player's Steam name, not the token's "username".
    QCOMPARE(session.userName(), Persona);
    QCOMPARE(session.jwt().isEmpty(), ticket.endsWith("notoken"));
    QCOMPARE(attempt.refreshed.count(), 1);
    QCOMPARE(attempt.refreshed.at(0).at(0).toMap(), (QVariantMap{{"access_token", session.jwt()}}));
    QVERIFY(errorReports().isEmpty());
    QVERIFY(trackedEvents().isEmpty());
}

void TestSteamSession::pumpRunsUntilAnOkTicket()
{
    const int ticketTicks = 6;
    Client client;
    client.ticks = ticketTicks;
    client.apply();
    const int before = m_standIn->pumpCount();
    QElapsedTimer clock;

    SteamAttempt attempt(newSession());
    clock.start();
    attempt.session->tryLogin();
    QTRY_COMPARE(attempt.finished.count(), 1);

    // The ticks brought the ticket about 100 ms apart. A tick that a busy machine delays is
    // followed by a shorter gap, as the timer keeps to its schedule: the median gap is the measure.
    const int ticks = m_standIn->pumpCount() - before;
    QCOMPARE(ticks, ticketTicks);
    QVector<qint64> gaps;
    for (int tick = before + 1; tick < before + ticks; ++tick)
        gaps << m_standIn->pumpTimeMs(tick) - m_standIn->pumpTimeMs(tick - 1);
    std::sort(gaps.begin(), gaps.end());
    const qint64 median = gaps.at(gaps.size() / 2);
    QVERIFY2(median >= 90 && median <= 160, qPrintable(QStringLiteral("a median of %1 ms between ticks").arg(median)));
    QVERIFY(clock.elapsed() >= ticketTicks * 90);
    // The OK ticket stopped the pump.
    QVERIFY(!attempt.errors.wait(400));
    QCOMPARE(m_standIn->pumpCount() - before, ticketTicks);
}

void TestSteamSession::initialisation_data()
{
    QTest::addColumn<QString>("variant");
    QTest::addColumn<QString>("init");
    QTest::newRow("current-library") << "" << "SteamAPI_InitFlat";
    QTest::newRow("library-before-InitFlat") << "legacy-init" << "SteamAPI_Init";
}

void TestSteamSession::initialisation()
{
    QFETCH(QString, variant);
    QFETCH(QString, init);
    const QString library = variant.isEmpty() ? libraryPath() : variantPath(variant);
    QVERIFY(loadConfig({{"steamApiLibrary", library}}));
    Inspector standIn(library);

    QTest::ignoreMessage(QtDebugMsg, "steam api inited true");
    SteamAttempt attempt(newSession());
    QCOMPARE(standIn.lastInit(), init);
    QTest::ignoreMessage(QtInfoMsg, "Start auth via steam");
    QTest::ignoreMessage(QtDebugMsg, QByteArray("steam-ivan").toHex().constData());
    QTest::ignoreMessage(QtDebugMsg, qPrintable(steamLoginUrl().arg("700100", QByteArray("steam-ivan").toHex())));
    attempt.session->tryLogin();
    QTRY_COMPARE(attempt.finished.count(), 1);
    QCOMPARE(attempt.session->userName(), Persona);
}

void TestSteamSession::managerSignsInTwiceInARow()
{
    auto manager = std::make_unique<AuthManager>();
    QSignalSpy changed(manager.get(), &AuthManager::currentSessionChanged);
    manager->loginViaSteam(QStringLiteral("700100"));
    auto *first = qobject_cast<SteamSession *>(manager->CurrentSession());
    QVERIFY(first);
    QSignalSpy firstFinished(first, &AbstractSession::loginFinished);
    QTRY_COMPARE(firstFinished.count(), 1);

    // The new session starts the client before the old one is deleted; the client stays up for it.
    manager->loginViaSteam(QStringLiteral("700100"));
    auto *second = qobject_cast<SteamSession *>(manager->CurrentSession());
    QVERIFY(second && second != first);
    QCOMPARE(changed.count(), 2);
    QSignalSpy secondFinished(second, &AbstractSession::loginFinished);
    QTRY_COMPARE(secondFinished.count(), 1);
    QCOMPARE(second->userName(), Persona);
    QCOMPARE(m_standIn->registeredCallbacks(), 1);
}

QTEST_MAIN(TestSteamSession)
#include "tst_steamsession.moc"
