#include "steamsuite.h"

#include "napplication.h"
#include "testenvironment.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace SteamStandIn;
using namespace LibraryReports;

void SteamSuite::noteEmailOutcome()
{
    m_reportsAtEmailOutcome = errorReports().size();
}

bool SteamSuite::loadConfig(const QJsonObject &overrides)
{
    QJsonObject config = m_kind.config;
    for (auto it = overrides.begin(); it != overrides.end(); ++it)
        config.insert(it.key(), it.value());
    return m_emulator.loadConfig(config);
}

void SteamSuite::initTestCase()
{
    if (m_kind.usesVault)
        NIMBLA_REQUIRE_ENVIRONMENT(TestEnvironment::hasSessionBus(), TestEnvironment::noSessionBus());
    QVERIFY(m_emulator.start());
    m_standIn = std::make_unique<Inspector>();
    QVERIFY2(m_standIn->isLoaded(), qPrintable(libraryPath()));
}

void SteamSuite::init()
{
    QVERIFY(loadConfig({}));
    m_emulator.clearRequests();
    m_emulator.clearFaults();
    clearJournals();
    Client().apply();
    m_standIn->clearFault();
    m_reportsAtEmailOutcome = -1;
    prepare();
}

void SteamSuite::cleanup()
{
    QCOMPARE(m_standIn->fault(), QString());
    QCOMPARE(m_standIn->registeredCallbacks(), 0);
    QVERIFY(!m_standIn->initialised());
}

void SteamSuite::clientUnusable_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<QString>("library"); // empty: the stand-in
    QTest::addColumn<QStringList>("warnings");

    const QString notLoaded = "^Steam client library not loaded: ";
    QTest::newRow("init-fails") << "init-fails" << QString() << QStringList();
    QTest::newRow("no-user") << "no-user" << QString() << QStringList();
    // The configured path, then the platform's own search, which finds none either.
    QTest::newRow("no-library") << "" << QDir(m_emulator.tempPath()).filePath("missing/libsteam_api.so")
                                << QStringList{notLoaded + ".*libsteam_api.so", notLoaded};
    QTest::newRow("no-ticket-export") << "" << variantPath("no-ticket")
                                      << QStringList{"^Steam client library \\S+ lacks SteamAPI_ISteamUser_GetAuthSessionTicket$"};
    QTest::newRow("ticket-refused") << "ticket-refused" << QString() << QStringList();
}

void SteamSuite::clientUnusable()
{
    QFETCH(QString, setup);
    QFETCH(QString, library);
    QFETCH(QStringList, warnings);
    Client client;
    client.initFails = setup == "init-fails";
    client.userAbsent = setup == "no-user";
    client.ticketResult = setup == "ticket-refused" ? 2 : 1;
    client.apply();
    if (!library.isEmpty())
        QVERIFY(loadConfig({{"steamApiLibrary", library}}));
    for (const QString &warning : qAsConst(warnings))
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(warning));
    const bool running = setup == "ticket-refused";
    QTest::ignoreMessage(QtDebugMsg, running || client.userAbsent ? "steam api inited true" : "steam api inited false");
    if (!running)
        QTest::ignoreMessage(QtCriticalMsg, "Steam SDK isn't enabled.");

    SteamAttempt attempt(newSession());
    const int ticks = m_standIn->pumpCount();
    attempt.session->tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 1);
    // The pump goes on after a refused ticket: a later request may still bring one.
    if (running)
        QTRY_VERIFY(m_standIn->pumpCount() >= ticks + 3);

    QCOMPARE(attempt.errors.count(), 1);
    QCOMPARE(attempt.errors.at(0).at(0).toString(),
             running ? QStringLiteral("Check Steam client started") : QStringLiteral("Check steam client is running"));
    QCOMPARE(errorReports(), QStringList{(running ? m_kind.ticketFailed : m_kind.notRunning) + " |  | authorization"});
    QVERIFY(trackedEvents().isEmpty());
    QCOMPARE(attempt.finished.count() + attempt.needEmail.count(), 0);
    QVERIFY(m_emulator.requests().isEmpty());
}

void SteamSuite::sendEmail_data()
{
    QTest::addColumn<bool>("signedIn");
    QTest::newRow("stored") << true;
    // A session that never signed in has no token to offer.
    QTest::newRow("token-refused") << false;
}

void SteamSuite::sendEmail()
{
    QFETCH(bool, signedIn);
    playTicket(m_kind.emailTicket);
    const QString address = QString::fromLatin1(m_kind.emailTicket) + "@example.com";

    SteamAttempt attempt(newSession());
    connect(attempt.session.get(), SIGNAL(sendEmailFinished(bool, QString)), this, SLOT(noteEmailOutcome()));
    if (signedIn) {
        attempt.session->tryLogin();
        QTRY_VERIFY(attempt.ended());
    }
    const int finished = attempt.finished.count();
    attempt.sendEmail(address);
    QTRY_COMPARE(attempt.emailSent.count(), 1);

    const QString refusal = signedIn ? QString() : QStringLiteral("Host requires authentication");
    QCOMPARE(attempt.emailSent.at(0), (QVariantList{signedIn, refusal}));
    const QStringList reports = signedIn ? QStringList() : QStringList{m_kind.emailFailed + " | " + refusal + " | authorization"};
    QCOMPARE(errorReports(), reports);
    QCOMPARE(m_reportsAtEmailOutcome, m_kind.emailOutcomeFirst ? 0 : reports.size());
    // Storing the address does not sign in by itself.
    QCOMPARE(attempt.finished.count(), finished);
    QCOMPARE(attempt.errors.count(), 0);
    const QJsonArray posts = m_emulator.requests(QUrl(NApplication::instance().urlsManager()->steamSetEmailUrl()).path());
    QCOMPARE(posts.size(), 1);
    const QJsonObject post = posts.at(0).toObject();
    QCOMPARE(QJsonDocument::fromJson(post.value("body").toString().toUtf8()).object(),
             (QJsonObject{{"token", attempt.session->jwt()}, {"updatedFields", QJsonObject{{"email", address}}}}));
    QCOMPARE(post.value("headers").toObject().value("content-type").toString(), QStringLiteral("application/json"));
    if (!signedIn)
        return;

    // The account's next token carries the address.
    SteamAttempt again(newSession(), SteamAttempt::SignIn);
    QTRY_COMPARE(again.finished.count(), 1);
    QCOMPARE(again.session->login(), address);
    QCOMPARE(again.needEmail.count(), 0);
}

void SteamSuite::destroyedWhileWaitingForTheTicket()
{
    Client client;
    client.ticks = 50;
    client.apply();
    auto attempt = std::make_unique<SteamAttempt>(newSession());
    QSignalSpy destroyed(attempt->session.get(), &QObject::destroyed);
    const int ticks = m_standIn->pumpCount();
    attempt->session->tryLogin();
    QTRY_VERIFY(m_standIn->pumpCount() > ticks);
    QCOMPARE(m_standIn->registeredCallbacks(), 1);

    // cleanup() then finds the callback unregistered and the client shut down.
    attempt.reset();
    QCOMPARE(destroyed.count(), 1);
    QVERIFY(m_emulator.requests().isEmpty());
}
