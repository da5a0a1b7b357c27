#include "authmanager.h"
#include "sessions/steamsession.h"

#include "emulatorfixture.h"
#include "napplication.h"
#include "steamstandin.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace SteamStandIn;
using LibraryReports::errorReports;
using LibraryReports::trackedEvents;

namespace {

using SteamAttempt = Attempt<SteamSession>;

const QString Persona = QStringLiteral("Ivan the Steam player");

QString loginPath()
{
    return QUrl(NApplication::instance().urlsManager()->steamLoginUrl()).path();
}

QString steamLoginUrl()
{
    return NApplication::instance().urlsManager()->steamLoginUrl();
}

QUrlQuery query(const QJsonObject &request)
{
    return QUrlQuery(request.value("query").toString());
}

QJsonObject claims(const QString &jwt)
{
    return QJsonDocument::fromJson(QByteArray::fromBase64(jwt.section('.', 1, 1).toLatin1(),
                                                          QByteArray::Base64UrlEncoding))
            .object();
}

} // namespace

class TestSteamSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void ticketText_data();
    void ticketText();
    void placeholders_data();
    void placeholders();
    void signsIn_data();
    void signsIn();
    void redirectWithoutToken_data();
    void redirectWithoutToken();
    void logLines();
    void failures_data();
    void failures();
    void pumpRunsUntilAnOkTicket();
    void pumpKeepsRunningAfterAFailedTicket();
    void libraryUnusable_data();
    void libraryUnusable();
    void initialisation_data();
    void initialisation();
    void sendEmail_data();
    void sendEmail();
    void destroyedWhileWaitingForTheTicket();
    void managerSignsInTwiceInARow();

private:
    EmulatorFixture m_emulator;
    std::unique_ptr<Inspector> m_standIn;
};

void TestSteamSession::initTestCase()
{
    QVERIFY(m_emulator.start());
    m_standIn = std::make_unique<Inspector>();
    QVERIFY2(m_standIn->isLoaded(), qPrintable(libraryPath()));
}

void TestSteamSession::init()
{
    QVERIFY(m_emulator.loadConfig());
    m_emulator.clearRequests();
    m_emulator.clearFaults();
    LibraryReports::clearJournals();
    Client().apply();
    m_standIn->clearFault();
}

void TestSteamSession::cleanup()
{
    // Every session is gone: its callback unregistered and the client shut down.
    QCOMPARE(m_standIn->fault(), QString());
    QCOMPARE(m_standIn->registeredCallbacks(), 0);
    QVERIFY(!m_standIn->initialised());
}

void TestSteamSession::ticketText_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");

    QByteArray everyValue;
    for (int value = 0; value < 256; ++value)
        everyValue.append(char(value));
    const QByteArray full(1024, '\xA5');
    QTest::newRow("one-byte") << QByteArray(1, '\0') << "00";
    QTest::newRow("three-bytes") << QByteArray("\x0a\xbc\xff", 3) << "0abcff";
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

    SteamAttempt attempt;
    attempt.session.tryLogin();
    QTRY_VERIFY(attempt.ended());

    // Two lower-case digits a byte, up to the 1024 bytes of the buffer.
    QCOMPARE(text.size(), 2 * qMin(bytes.size(), 1024));
    const QJsonArray requests = m_emulator.requests(loginPath());
    QCOMPARE(requests.size(), 1);
    QCOMPARE(query(requests.at(0).toObject()).queryItemValue("ticket"), text);
    QCOMPARE(NApplication::instance().settingsManager()->steamSessionticket(), text);
    // No seeded account has this ticket.
    QCOMPARE(attempt.errors.count(), 1);
}

void TestSteamSession::placeholders_data()
{
    QTest::addColumn<QString>("templateQuery");
    QTest::newRow("in-order") << "app_id=%1&ticket=%2";
    QTest::newRow("ticket-first") << "ticket=%2&app_id=%1";
}

void TestSteamSession::placeholders()
{
    QFETCH(QString, templateQuery);
    const QString address = steamLoginUrl().section('?', 0, 0) + '?' + templateQuery;
    QVERIFY(m_emulator.loadConfig({{"urls", QJsonObject{{"steamLoginUrl", address}}}}));

    SteamAttempt attempt(QStringLiteral("700100"));
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.finished.count(), 1);

    const QJsonArray requests = m_emulator.requests(loginPath());
    QCOMPARE(requests.size(), 1);
    const QString expected = QString(templateQuery).replace("%1", "700100").replace("%2", QByteArray("steam-ivan").toHex());
    QCOMPARE(requests.at(0).toObject().value("query").toString(), expected);
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
}

void TestSteamSession::signsIn()
{
    QFETCH(QByteArray, ticket);
    QFETCH(QString, authFields);
    QFETCH(bool, asksForEmail);
    QFETCH(QString, login);
    QVERIFY(m_emulator.loadConfig({{"authFields", authFields}}));
    Client client;
    client.ticket = ticket;
    client.apply();

    SteamAttempt attempt;
    attempt.session.tryLogin();
    QTRY_VERIFY(attempt.ended());
    // Neither answer is followed by the other.
    QVERIFY(!attempt.errors.wait(300));

    QCOMPARE(attempt.needEmail.count(), asksForEmail ? 1 : 0);
    QCOMPARE(attempt.finished.count(), asksForEmail ? 0 : 1);
    QCOMPARE(attempt.errors.count(), 0);
    QCOMPARE(attempt.session.login(), login);
    // The player's Steam name, whatever the token's "username" says.
    QCOMPARE(attempt.session.userName(), Persona);
    const QJsonObject tokenClaims = claims(attempt.session.jwt());
    QVERIFY(tokenClaims.value("username").toString().endsWith("-token-name"));
    QCOMPARE(attempt.session.userId(), tokenClaims.value("sub").toString());
    QCOMPARE(attempt.session.externalUserId(), tokenClaims.value("external_account_id").toString());
    QCOMPARE(attempt.session.merchantId(), QStringLiteral("12345"));
    QCOMPARE(attempt.refreshed.count(), 1);
    QCOMPARE(attempt.refreshed.at(0).at(0).toMap(), (QVariantMap{{"access_token", attempt.session.jwt()}}));
    QVERIFY(errorReports().isEmpty());
    QVERIFY(trackedEvents().isEmpty());
}

void TestSteamSession::redirectWithoutToken_data()
{
    QTest::addColumn<QString>("authFields");
    QTest::addColumn<bool>("asksForEmail");
    QTest::newRow("email-field") << "email,username" << true;
    QTest::newRow("no-email-field") << "username" << false;
}

void TestSteamSession::redirectWithoutToken()
{
    QFETCH(QString, authFields);
    QFETCH(bool, asksForEmail);
    QVERIFY(m_emulator.loadConfig({{"authFields", authFields}}));
    Client client;
    client.ticket = "steam-kim-notoken";
    client.apply();

    SteamAttempt attempt;
    attempt.session.tryLogin();
    QTRY_VERIFY(attempt.ended());
    QVERIFY(!attempt.errors.wait(300));

    // No error of its own: an empty token, and the e-mail check decides.
    QCOMPARE(attempt.errors.count(), 0);
    QCOMPARE(attempt.session.jwt(), QString());
    QCOMPARE(attempt.session.login(), QString());
    QCOMPARE(attempt.session.userName(), Persona);
    QCOMPARE(attempt.needEmail.count(), asksForEmail ? 1 : 0);
    QCOMPARE(attempt.finished.count(), asksForEmail ? 0 : 1);
    QVERIFY(errorReports().isEmpty());
}

void TestSteamSession::logLines()
{
    QTest::ignoreMessage(QtDebugMsg, "steam api inited true");
    SteamAttempt attempt;
    QTest::ignoreMessage(QtInfoMsg, "Start auth via steam");
    QTest::ignoreMessage(QtDebugMsg, QByteArray("steam-ivan").toHex().constData());
    QTest::ignoreMessage(QtDebugMsg,
                         qPrintable(QString(steamLoginUrl()).arg("700100", QByteArray("steam-ivan").toHex())));
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.finished.count(), 1);
}

void TestSteamSession::failures_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<QString>("message"); // a regular expression
    QTest::addColumn<QString>("report");  // "title | details | area", a regular expression
    QTest::addColumn<bool>("requested");

    const QString notRunning = "Steam: steam client isnt running \\|  \\| authorization";
    const QString forbidden = "Error transferring http://\\S+ - server replied: Forbidden";
    QTest::newRow("init-fails") << "init-fails" << "Check steam client is running" << notRunning << false;
    QTest::newRow("no-user") << "no-user" << "Check steam client is running" << notRunning << false;
    QTest::newRow("ticket-refused") << "ticket-refused" << "Check Steam client started"
                                    << "Steam: Failed get steam session ticket \\|  \\| authorization" << false;
    QTest::newRow("unknown-ticket") << "unknown-ticket" << forbidden
                                    << "Steam: Failed auth \\| " + forbidden + " \\| authorization" << true;
    const QString serverError = "Error transferring http://\\S+ - server replied: Internal Server Error";
    QTest::newRow("service-error") << "service-error" << serverError
                                   << "Steam: Failed auth \\| " + serverError + " \\| authorization" << true;
}

void TestSteamSession::failures()
{
    QFETCH(QString, setup);
    QFETCH(QString, message);
    QFETCH(QString, report);
    QFETCH(bool, requested);
    Client client;
    client.initFails = setup == "init-fails";
    client.userAbsent = setup == "no-user";
    client.ticketResult = setup == "ticket-refused" ? 2 : 1;
    client.ticket = setup == "unknown-ticket" ? "steam-nobody" : "steam-ivan";
    client.apply();
    if (setup == "service-error")
        m_emulator.injectFault(QUrl(steamLoginUrl()), {{"status", 500}, {"body", "down"}, {"contentType", "text/plain"}});
    if (client.initFails || client.userAbsent)
        QTest::ignoreMessage(QtCriticalMsg, "Steam SDK isn't enabled.");

    SteamAttempt attempt;
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 1);
    QVERIFY(!attempt.finished.wait(300));

    QVERIFY2(QRegularExpression("^" + message + "$").match(attempt.errors.at(0).at(0).toString()).hasMatch(),
             qPrintable(attempt.errors.at(0).at(0).toString()));
    const QStringList reports = errorReports();
    QCOMPARE(reports.size(), 1);
    QVERIFY2(QRegularExpression("^" + report + "$").match(reports.at(0)).hasMatch(), qPrintable(reports.at(0)));
    QVERIFY(trackedEvents().isEmpty());
    QCOMPARE(m_emulator.requests(loginPath()).size(), requested ? 1 : 0);
    QCOMPARE(attempt.needEmail.count(), 0);
}

void TestSteamSession::pumpRunsUntilAnOkTicket()
{
    const int ticketTicks = 6;
    Client client;
    client.ticks = ticketTicks;
    client.apply();
    const int before = m_standIn->pumpCount();
    QElapsedTimer clock;

    SteamAttempt attempt;
    clock.start();
    attempt.session.tryLogin();
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

void TestSteamSession::pumpKeepsRunningAfterAFailedTicket()
{
    Client client;
    client.ticketResult = 5;
    client.apply();

    SteamAttempt attempt;
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 1);
    const int atFailure = m_standIn->pumpCount();
    QTRY_VERIFY(m_standIn->pumpCount() >= atFailure + 3);
    QCOMPARE(attempt.errors.count(), 1);
}

void TestSteamSession::libraryUnusable_data()
{
    QTest::addColumn<QString>("library");
    QTest::addColumn<QString>("warning"); // a regular expression

    QTest::newRow("no-library") << QDir(m_emulator.tempPath()).filePath("missing/libsteam_api.so")
                                << "^Steam client library not loaded: .*libsteam_api.so.*$";
    QTest::newRow("no-ticket-export") << variantPath("no-ticket")
                                      << "^Steam client library \\S+ lacks SteamAPI_ISteamUser_GetAuthSessionTicket$";
}

void TestSteamSession::libraryUnusable()
{
    QFETCH(QString, library);
    QFETCH(QString, warning);
    QVERIFY(m_emulator.loadConfig({{"steamApiLibrary", library}}));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(warning));
    if (library.contains("missing")) // then the platform's own search, which finds none either
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Steam client library not loaded: .*$"));
    QTest::ignoreMessage(QtDebugMsg, "steam api inited false");
    QTest::ignoreMessage(QtCriticalMsg, "Steam SDK isn't enabled.");

    SteamAttempt attempt;
    attempt.session.tryLogin();
    QCOMPARE(attempt.errors.count(), 1);
    QCOMPARE(attempt.errors.at(0).at(0).toString(), QStringLiteral("Check steam client is running"));
    QCOMPARE(errorReports(), QStringList{"Steam: steam client isnt running |  | authorization"});
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
    QVERIFY(m_emulator.loadConfig({{"steamApiLibrary", library}}));
    Inspector standIn(library);

    SteamAttempt attempt;
    QCOMPARE(standIn.lastInit(), init);
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.finished.count(), 1);
    QCOMPARE(attempt.session.userName(), Persona);
}

void TestSteamSession::sendEmail_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<bool>("success");
    QTest::newRow("stored") << "stored" << true;
    QTest::newRow("token-refused") << "token-refused" << false;
    QTest::newRow("service-error") << "service-error" << false;
}

void TestSteamSession::sendEmail()
{
    QFETCH(QString, setup);
    QFETCH(bool, success);
    Client client;
    client.ticket = "steam-nina";
    client.apply();
    const QString emailUrl = NApplication::instance().urlsManager()->steamSetEmailUrl();

    // A session that never signed in has no token to offer.
    SteamAttempt attempt;
    if (success) {
        attempt.session.tryLogin();
        QTRY_COMPARE(attempt.needEmail.count(), 1);
    }
    if (setup == "service-error")
        m_emulator.injectFault(QUrl(emailUrl), {{"status", 503}, {"body", "busy"}, {"contentType", "text/plain"}});
    attempt.session.sendEmail(QStringLiteral("nina-steam@example.com"));
    QTRY_COMPARE(attempt.emailSent.count(), 1);

    const QList<QVariant> outcome = attempt.emailSent.at(0);
    QCOMPARE(outcome.at(0).toBool(), success);
    QCOMPARE(attempt.finished.count(), 0);
    QCOMPARE(attempt.errors.count(), 0);
    const QJsonArray posts = m_emulator.requests(QUrl(emailUrl).path());
    QCOMPARE(posts.size(), 1);
    QCOMPARE(QJsonDocument::fromJson(posts.at(0).toObject().value("body").toString().toUtf8()).object(),
             (QJsonObject{{"token", attempt.session.jwt()},
                          {"updatedFields", QJsonObject{{"email", "nina-steam@example.com"}}}}));
    QCOMPARE(posts.at(0).toObject().value("headers").toObject().value("content-type").toString(),
             QStringLiteral("application/json"));
    if (!success) {
        const QString error = outcome.at(1).toString();
        QVERIFY(!error.isEmpty());
        QCOMPARE(errorReports(), QStringList{"Steam: Failed send email | " + error + " | authorization"});
        return;
    }
    QCOMPARE(outcome.at(1).toString(), QString());
    QVERIFY(errorReports().isEmpty());

    // The account's next token carries the address.
    SteamAttempt again;
    again.session.tryLogin();
    QTRY_COMPARE(again.finished.count(), 1);
    QCOMPARE(again.session.login(), QStringLiteral("nina-steam@example.com"));
    QCOMPARE(again.needEmail.count(), 0);
}

void TestSteamSession::destroyedWhileWaitingForTheTicket()
{
    Client client;
    client.ticks = 50;
    client.apply();
    auto attempt = std::make_unique<SteamAttempt>();
    QSignalSpy destroyed(&attempt->session, &QObject::destroyed);
    attempt->session.tryLogin();
    QTRY_VERIFY(m_standIn->pumpCount() > 0);
    const int ticks = m_standIn->pumpCount();
    QCOMPARE(m_standIn->registeredCallbacks(), 1);

    attempt.reset();
    QCOMPARE(destroyed.count(), 1);
    QCOMPARE(m_standIn->registeredCallbacks(), 0);
    QVERIFY(!m_standIn->initialised());
    // Nothing pumps for a session that is gone.
    QTest::qWait(300);
    QCOMPARE(m_standIn->pumpCount(), ticks);
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

    manager.reset();
}

QTEST_MAIN(TestSteamSession)
#include "tst_steamsession.moc"
