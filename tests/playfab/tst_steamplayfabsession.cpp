#include "sessions/steamplayfabsession.h"

#include "authmanager.h"
#include "emulatorfixture.h"
#include "libraryreports.h"
#include "napplication.h"
#include "steamstandin.h"
#include "storage/credentials.h"
#include "testenvironment.h"

#include <QMutex>
#include <QtTest>

using namespace NimblaSDK;
using namespace SteamStandIn;
using namespace LibraryReports;

namespace {

// An account name of its own keeps this test's vault record away from the other tests'.
const QString Account = QStringLiteral("SteamPlayfabSessionTests");
const QString PeggyId = QStringLiteral("9E6600000000000D");
const QString Unknown = QStringLiteral("Unknown or expired session ticket");

SDKSettings *settings()
{
    return NApplication::instance().settingsManager();
}

QString configuredUrl(const char *key)
{
    return NApplication::instance().configManager()->urls().value(QLatin1String(key)).toString();
}

QString pathOf(const char *key)
{
    return QUrl(configuredUrl(key)).path();
}

QString hex(const QByteArray &ticket)
{
    return QString::fromLatin1(ticket.toHex());
}

//! A sign-in, with when the session spoke against the error reports.
struct SignIn : Attempt<SteamPlayfabSession>
{
    //! What the session signalled, with the number of error reports made before it.
    QVector<QPair<QString, int>> timeline;

    SignIn()
    {
        const auto note = [this](const QString &what) { timeline.append({what, errorReports().size()}); };
        QObject::connect(&session, &AbstractSession::error, &session, [note](const QString &text) { note("error: " + text); });
        QObject::connect(&session, &SteamPlayfabSession::sendEmailFinished, &session,
                         [note](bool success, const QString &text) {
                             note(QStringLiteral("sendEmailFinished: %1 %2").arg(success).arg(text));
                         });
    }
};

//! Every message written while it lives, kept from the test's output.
class MessageLog
{
public:
    struct Entry
    {
        QtMsgType type;
        QString category;
        QString text;
    };

    MessageLog()
    {
        s_current = this;
        m_previous = qInstallMessageHandler(&MessageLog::handle);
    }
    ~MessageLog()
    {
        qInstallMessageHandler(m_previous);
        s_current = nullptr;
    }

    QVector<Entry> entries() const
    {
        QMutexLocker lock(&m_mutex);
        return m_entries;
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        QMutexLocker lock(&s_current->m_mutex);
        s_current->m_entries.append({type, QString::fromLatin1(context.category), text});
    }

    static MessageLog *s_current;
    mutable QMutex m_mutex;
    QVector<Entry> m_entries;
    QtMessageHandler m_previous = nullptr;
};

MessageLog *MessageLog::s_current = nullptr;

} // namespace

class TestSteamPlayfabSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void signsIn_data();
    void signsIn();
    void logLines();
    void failures_data();
    void failures();
    void answerWithoutData();
    void pumpKeepsRunningAfterAFailedTicket();
    // After signsIn: "stored" gives peggy an e-mail for the rest of the run.
    void sendEmail_data();
    void sendEmail();
    void destroyedWhileWaitingForTheTicket();
    void managerEntryPoint();

private:
    EmulatorFixture m_emulator;
    std::unique_ptr<Inspector> m_standIn;
};

void TestSteamPlayfabSession::initTestCase()
{
    NIMBLA_REQUIRE_ENVIRONMENT(TestEnvironment::hasSessionBus(), TestEnvironment::noSessionBus());
    QVERIFY(m_emulator.start());
    QVERIFY(m_emulator.loadConfig());
    m_standIn = std::make_unique<Inspector>();
    QVERIFY2(m_standIn->isLoaded(), qPrintable(libraryPath()));
}

void TestSteamPlayfabSession::init()
{
    QVERIFY(m_emulator.loadConfig({{"appAccountName", Account}, {"authFields", "email,username"}}));
    m_emulator.clearFaults();
    m_emulator.clearRequests();
    clearJournals();
    Client().apply();
    m_standIn->clearFault();
    deleteCredential(Account);
}

void TestSteamPlayfabSession::cleanup()
{
    // Every session is gone: its callback unregistered and the client shut down.
    QCOMPARE(m_standIn->fault(), QString());
    QCOMPARE(m_standIn->registeredCallbacks(), 0);
    QVERIFY(!m_standIn->initialised());
}

void TestSteamPlayfabSession::cleanupTestCase()
{
    deleteCredential(Account);
}

void TestSteamPlayfabSession::signsIn_data()
{
    QTest::addColumn<QByteArray>("steamAccount");
    QTest::addColumn<bool>("seeded");
    QTest::newRow("seeded-player-without-email") << QByteArray("steam-playfab-peggy") << true;
    // "CreateAccount" makes PlayFab take a Steam account it has never seen.
    QTest::newRow("new-player") << QByteArray("steam-playfab-newcomer") << false;
}

void TestSteamPlayfabSession::signsIn()
{
    QFETCH(QByteArray, steamAccount);
    QFETCH(bool, seeded);
    Client client;
    client.ticket = steamAccount;
    client.apply();
    const CredentialRecord saved{Account, QStringLiteral("carol@example.com"), QStringLiteral("carol-password")};
    QVERIFY(writeCredential(saved));
    settings()->setRememberMe(false);

    SignIn attempt;
    attempt.session.tryLogin();
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
    QCOMPARE(settings()->steamSessionticket(), hex(steamAccount));
    // The token's own claims, through the base: its "username", not the Steam name.
    QCOMPARE(attempt.session.login(), QString());
    QCOMPARE(attempt.session.userName(), QString::fromLatin1(steamAccount));
    QCOMPARE(attempt.session.userId(), "playfab-" + playfabId);
    QCOMPARE(attempt.session.externalUserId(), playfabId);
    QCOMPARE(attempt.refreshed.count(), 1);
    QCOMPARE(attempt.refreshed.at(0).at(0).toMap(), (QVariantMap{{"access_token", attempt.session.jwt()}}));

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
    const QJsonArray crossAuth = m_emulator.requests(pathOf("playfabCrossAuthUrl"));
    QCOMPARE(crossAuth.size(), 1);
    QCOMPARE(crossAuth.first().toObject().value("query").toString(),
             "playfab_id=" + playfabId + "&session_ticket="
                     + QString::fromLatin1(QUrl::toPercentEncoding(settings()->playfabToken())));

    // Nothing saved: neither the shared account nor the remember-me flag.
    QCOMPARE(readCredential(Account).userName, saved.userName);
    QCOMPARE(readCredential(Account).secret, saved.secret);
    QCOMPARE(settings()->rememberMe(), false);

    // The player PlayFab made is found again.
    SignIn again;
    again.session.tryLogin();
    QTRY_COMPARE(again.finished.count(), 1);
    QCOMPARE(settings()->playfabId(), playfabId);
}

void TestSteamPlayfabSession::logLines()
{
    const QString ticket = hex("steam-playfab-peggy");
    Client client;
    client.ticket = "steam-playfab-peggy";
    client.apply();
    QVector<MessageLog::Entry> entries;
    {
        MessageLog log;
        SignIn attempt;
        attempt.session.tryLogin();
        QTRY_COMPARE(attempt.finished.count(), 1);
        entries = log.entries();
    }

    QStringList lines;
    for (const MessageLog::Entry &entry : qAsConst(entries)) {
        // PlayFab takes the Steam ticket as a credential: it is written nowhere.
        QVERIFY2(!entry.text.contains(ticket), qPrintable(entry.category + ": " + entry.text));
        if (entry.category == QLatin1String("SteamPlayfabAuth"))
            lines << QStringLiteral("%1 %2").arg(entry.type).arg(entry.text);
    }
    const QString debug = QString::number(QtDebugMsg) + ' ', info = QString::number(QtInfoMsg) + ' ';
    QCOMPARE(lines, (QStringList{debug + "steam api inited true", info + "Start auth via steam",
                                 info + "Playfab login finished", info + "Auth: Request finished!",
                                 info + "Auth: Redirect request finished"}));
}

void TestSteamPlayfabSession::failures_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<QString>("message"); // a regular expression
    QTest::addColumn<QString>("report");  // "title | details", a regular expression
    QTest::addColumn<bool>("errorFirst"); // error() before _logError()
    QTest::addColumn<QStringList>("criticals");
    QTest::addColumn<QStringList>("requested"); // the URL keys that were asked

    const QString notRunning = "PlayfabSteam: Steam client isnt running \\| ";
    const QStringList notEnabled{"^Steam SDK isn't enabled\\.$"};
    const QString login = "playfabSteamLoginUrl", crossAuth = "playfabCrossAuthUrl";
    QTest::newRow("init-fails") << "init-fails" << "Check steam client is running" << notRunning << true
                                << notEnabled << QStringList();
    QTest::newRow("no-user") << "no-user" << "Check steam client is running" << notRunning << true << notEnabled
                             << QStringList();
    QTest::newRow("no-library") << "no-library" << "Check steam client is running" << notRunning << true
                                << notEnabled << QStringList();
    QTest::newRow("ticket-refused") << "ticket-refused" << "Check Steam client started"
                                    << "PlayfabSteam: Failed get steam session ticket \\| " << true << QStringList()
                                    << QStringList();

    // The fields in ascending order, whatever order PlayFab wrote them in.
    const QString invalidParams = QRegularExpression::escape(
            "Invalid input parameters\n\n SteamTicket: \nThe SteamTicket field is required.\nIt must be hexadecimal."
            "\n\n TitleId: \nThe TitleId field is required.");
    QTest::newRow("invalid-params") << "invalid-params" << invalidParams << "PlayfabSteam: Login failed \\| " + invalidParams
                                    << false
                                    << QStringList{"^Playfab login failed: " + invalidParams + "$",
                                                   "(?s)^Reply: \\{\\n    \"code\": 400,.*\"InvalidParams\""}
                                    << QStringList{login};
    QTest::newRow("unknown-title") << "unknown-title" << "Invalid title id 127"
                                   << "PlayfabSteam: Login failed \\| Invalid title id 127" << false
                                   << QStringList{"^Playfab login failed: Invalid title id 127$",
                                                  "(?s)^Reply: .*\"error\": \"InvalidTitleId\""}
                                   << QStringList{login};
    // Not PlayFab's answer: the network's words, rather than an empty message.
    const QString serverError = "Error transferring http://\\S+ - server replied: Internal Server Error";
    QTest::newRow("playfab-down") << "playfab-down" << serverError << "PlayfabSteam: Login failed \\| " + serverError
                                  << false
                                  << QStringList{"^Playfab login failed: " + serverError + "$", "^Reply: \\{\\n\\}\\n$"}
                                  << QStringList{login};
    QTest::newRow("playfab-dropped") << "playfab-dropped" << "Connection closed"
                                     << "PlayfabSteam: Login failed \\| Connection closed" << false
                                     << QStringList{"^Playfab login failed: Connection closed$", "^Reply: \\{\\n\\}\\n$"}
                                     << QStringList{login};

    QTest::newRow("forged-ticket") << "forged-ticket" << Unknown << "PlayfabSteam: Redirect request failed \\| " + Unknown
                                   << true << QStringList{"^Auth: Redirect request failed!$", "^Reply: " + Unknown + "$"}
                                   << QStringList{login, crossAuth};
    QTest::newRow("cross-auth-down") << "cross-auth-down" << serverError
                                     << "PlayfabSteam: Auth request failed \\| " + serverError << true
                                     << QStringList{"^Msg: " + serverError + "$", "^Auth: Request failed!$"}
                                     << QStringList{login, crossAuth};
    // A redirect that carries neither "token" nor "error": an empty text.
    QTest::newRow("redirect-without-token") << "redirect-without-token" << "" << "PlayfabSteam: Redirect request failed \\| "
                                            << true << QStringList{"^Auth: Redirect request failed!$", "^Reply: $"}
                                            << QStringList{login, crossAuth};
}

void TestSteamPlayfabSession::failures()
{
    QFETCH(QString, setup);
    QFETCH(QString, message);
    QFETCH(QString, report);
    QFETCH(bool, errorFirst);
    QFETCH(QStringList, criticals);
    QFETCH(QStringList, requested);

    Client client;
    client.ticket = "steam-playfab-peggy";
    client.initFails = setup == "init-fails";
    client.userAbsent = setup == "no-user";
    client.ticketResult = setup == "ticket-refused" ? 2 : 1;
    client.apply();
    const auto fault = [this](const char *key, const QJsonObject &answer) {
        m_emulator.injectFault(QUrl(configuredUrl(key).section('?', 0, 0)), answer);
    };
    const auto playfabAnswer = [](int status, const QJsonObject &body) {
        return QJsonObject{{"status", status}, {"body", QString::fromUtf8(QJsonDocument(body).toJson())}};
    };
    const QJsonObject serverError{{"status", 500}, {"body", "down"}, {"contentType", "text/plain"}};
    if (setup == "no-library") {
        QVERIFY(m_emulator.loadConfig({{"appAccountName", Account},
                                       {"steamApiLibrary", QDir(m_emulator.tempPath()).filePath("missing/libsteam_api.so")}}));
        // The configured path, then the platform's own search, which finds none either.
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Steam client library not loaded: .*$"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Steam client library not loaded: .*$"));
    } else if (setup == "unknown-title") {
        // The same emulator under its dotted-quad name: title "127".
        const QString url = configuredUrl("playfabSteamLoginUrl").replace("0x7F.0.0.1", "127.0.0.1");
        QVERIFY(m_emulator.loadConfig({{"appAccountName", Account}, {"urls", QJsonObject{{"playfabSteamLoginUrl", url}}}}));
    } else if (setup == "invalid-params") {
        fault("playfabSteamLoginUrl",
              playfabAnswer(400, {{"code", 400}, {"status", "BadRequest"}, {"error", "InvalidParams"}, {"errorCode", 1000},
                                  {"errorMessage", "Invalid input parameters"},
                                  {"errorDetails", QJsonObject{
                                           {"TitleId", QJsonArray{"The TitleId field is required."}},
                                           {"SteamTicket", QJsonArray{"The SteamTicket field is required.",
                                                                      "It must be hexadecimal."}}}}}));
    } else if (setup == "playfab-down") {
        fault("playfabSteamLoginUrl", serverError);
    } else if (setup == "playfab-dropped") {
        fault("playfabSteamLoginUrl", {{"drop", true}});
    } else if (setup == "forged-ticket") {
        fault("playfabSteamLoginUrl",
              playfabAnswer(200, {{"code", 200}, {"status", "OK"},
                                  {"data", QJsonObject{{"SessionTicket", "forged"}, {"PlayFabId", PeggyId}}}}));
    } else if (setup == "cross-auth-down") {
        fault("playfabCrossAuthUrl", serverError);
    } else if (setup == "redirect-without-token") {
        fault("playfabCrossAuthUrl", {{"status", 302}, {"body", ""}});
    }
    for (const QString &pattern : qAsConst(criticals))
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(pattern));

    SignIn attempt;
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 1);
    QVERIFY(!attempt.finished.wait(300));

    const QRegularExpression text("^" + message + "$", QRegularExpression::DotMatchesEverythingOption);
    QCOMPARE(attempt.timeline.size(), 1);
    const QString said = attempt.timeline.first().first.mid(QStringLiteral("error: ").size());
    QVERIFY2(text.match(said).hasMatch(), qPrintable(said));
    QCOMPARE(attempt.timeline.first().second, errorFirst ? 0 : 1);
    const QStringList reports = errorReports();
    QCOMPARE(reports.size(), 1);
    QVERIFY2(QRegularExpression("^" + report + " \\| authorization$", QRegularExpression::DotMatchesEverythingOption)
                     .match(reports.first())
                     .hasMatch(),
             qPrintable(reports.first()));
    QVERIFY(trackedEvents().isEmpty());
    QCOMPARE(attempt.needEmail.count(), 0);

    // A client that is not running sends nothing at all. (Qt sends a POST
    // again once when the connection drops before an answer.)
    int asked = 0;
    for (const char *key : {"playfabSteamLoginUrl", "playfabCrossAuthUrl"}) {
        const int count = m_emulator.requests(pathOf(key)).size();
        QCOMPARE(count > 0, requested.contains(QLatin1String(key)));
        asked += count;
    }
    QCOMPARE(m_emulator.requests().size(), asked);
}

void TestSteamPlayfabSession::answerWithoutData()
{
    settings()->setPlayfabId("earlier-id");
    settings()->setPlayfabToken("earlier-ticket");
    m_emulator.injectFault(QUrl(configuredUrl("playfabSteamLoginUrl")),
                           {{"status", 200}, {"body", "{\"code\": 200, \"status\": \"OK\"}"}});
    QTest::ignoreMessage(QtCriticalMsg, "Auth: Redirect request failed!");
    QTest::ignoreMessage(QtCriticalMsg, qPrintable("Reply: " + Unknown));

    SignIn attempt;
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 1);
    QCOMPARE(attempt.errors.first().first().toString(), Unknown);

    const QJsonArray crossAuth = m_emulator.requests(pathOf("playfabCrossAuthUrl"));
    QCOMPARE(crossAuth.size(), 1);
    QCOMPARE(crossAuth.first().toObject().value("query").toString(), QStringLiteral("playfab_id=&session_ticket="));
    // The empty ticket replaces the earlier one; an empty id does not.
    QCOMPARE(settings()->playfabToken(), QString());
    QCOMPARE(settings()->playfabId(), QStringLiteral("earlier-id"));
}

void TestSteamPlayfabSession::pumpKeepsRunningAfterAFailedTicket()
{
    Client client;
    client.ticketResult = 5;
    client.apply();

    SignIn attempt;
    attempt.session.tryLogin();
    QTRY_COMPARE(attempt.errors.count(), 1);
    const int atFailure = m_standIn->pumpCount();
    QTRY_VERIFY(m_standIn->pumpCount() >= atFailure + 3);
    QCOMPARE(attempt.errors.count(), 1);
    QVERIFY(m_emulator.requests().isEmpty());
}

void TestSteamPlayfabSession::sendEmail_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<bool>("success");
    QTest::newRow("stored") << "stored" << true;
    QTest::newRow("token-refused") << "token-refused" << false;
    QTest::newRow("service-error") << "service-error" << false;
}

void TestSteamPlayfabSession::sendEmail()
{
    QFETCH(QString, setup);
    QFETCH(bool, success);
    Client client;
    client.ticket = "steam-playfab-peggy";
    client.apply();
    const QString emailUrl = configuredUrl("steamSetEmailUrl");
    const QString address = QStringLiteral("peggy@example.com");

    // A session that never signed in has no token to offer.
    SignIn attempt;
    if (setup != "token-refused") {
        attempt.session.tryLogin();
        QTRY_COMPARE(attempt.finished.count(), 1);
    }
    if (setup == "service-error")
        m_emulator.injectFault(QUrl(emailUrl), {{"status", 503}, {"body", "busy"}, {"contentType", "text/plain"}});
    attempt.session.sendEmail(address);
    QTRY_COMPARE(attempt.emailSent.count(), 1);

    const QJsonArray posts = m_emulator.requests(QUrl(emailUrl).path());
    QCOMPARE(posts.size(), 1);
    QCOMPARE(QJsonDocument::fromJson(posts.first().toObject().value("body").toString().toUtf8()).object(),
             (QJsonObject{{"token", attempt.session.jwt()}, {"updatedFields", QJsonObject{{"email", address}}}}));
    QCOMPARE(attempt.errors.count(), 0);
    QCOMPARE(attempt.timeline.size(), 1);
    // The outcome first, then the report.
    QCOMPARE(attempt.timeline.first().second, 0);
    const QList<QVariant> outcome = attempt.emailSent.first();
    QCOMPARE(outcome.at(0).toBool(), success);
    if (!success) {
        const QString error = outcome.at(1).toString();
        QVERIFY(!error.isEmpty());
        QCOMPARE(errorReports(), QStringList{"SteamPlayfab: Failed send email | " + error + " | authorization"});
        return;
    }
    QCOMPARE(outcome.at(1).toString(), QString());
    QVERIFY(errorReports().isEmpty());

    // The account's next token carries the address.
    SignIn again;
    again.session.tryLogin();
    QTRY_COMPARE(again.finished.count(), 1);
    QCOMPARE(again.session.login(), address);
}

void TestSteamPlayfabSession::destroyedWhileWaitingForTheTicket()
{
    Client client;
    client.ticks = 50;
    client.apply();
    auto attempt = std::make_unique<SignIn>();
    QSignalSpy destroyed(&attempt->session, &QObject::destroyed);
    attempt->session.tryLogin();
    QTRY_VERIFY(m_standIn->pumpCount() > 0);
    QCOMPARE(m_standIn->registeredCallbacks(), 1);

    attempt.reset();
    QCOMPARE(destroyed.count(), 1);
    QCOMPARE(m_standIn->registeredCallbacks(), 0);
    QVERIFY(!m_standIn->initialised());
    QVERIFY(m_emulator.requests().isEmpty());
}

void TestSteamPlayfabSession::managerEntryPoint()
{
    Client client;
    client.ticket = "steam-playfab-peggy";
    client.apply();
    AuthManager manager(nullptr);
    QSignalSpy changed(&manager, &AuthManager::currentSessionChanged);
    manager.loginViaSteamToPlayfab();
    QCOMPARE(changed.count(), 1);
    auto *session = qobject_cast<SteamPlayfabSession *>(manager.CurrentSession());
    QVERIFY(session);
    QCOMPARE(session->parent(), static_cast<QObject *>(&manager));
    QSignalSpy finished(session, &AbstractSession::loginFinished);
    QVERIFY(finished.wait());
    QCOMPARE(m_emulator.requests(pathOf("playfabCrossAuthUrl")).size(), 1);
}

QTEST_GUILESS_MAIN(TestSteamPlayfabSession)
#include "tst_steamplayfabsession.moc"
