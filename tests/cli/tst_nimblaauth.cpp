// nimbla-auth as scripts run it: a process with arguments and standard input,
// judged by its exit code, its standard output and its one line of standard error.
#include "emulatorfixture.h"
#include "platformplayer.h"
#include "testenvironment.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

QJsonObject json(const Run &run)
{
    return QJsonDocument::fromJson(run.out).object();
}

QJsonObject jwtPayload(const QByteArray &jwt)
{
    return QJsonDocument::fromJson(QByteArray::fromBase64(jwt.split('.').value(1), QByteArray::Base64UrlEncoding))
            .object();
}

} // namespace

class TestNimblaAuth : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void exitCodes_data();
    void exitCodes();
    void platformAccountWithoutEmail_data();
    void platformAccountWithoutEmail();
    void tokenPrintsOnlyTheJwt();
    void jsonOutput();
    void demoOptionsAgainstPrivateEmulator();

private:
    Run run(const QStringList &arguments, const QByteArray &input = {});
    //! Runs against the fixture's configuration and settings.
    Run client(const QStringList &arguments, const QByteArray &input = {});
    QString unreachableConfig();

    EmulatorFixture m_emulator;
    QTemporaryDir m_data;
};

void TestNimblaAuth::initTestCase()
{
    NIMBLA_REQUIRE_ENVIRONMENT(TestEnvironment::hasSessionBus(), TestEnvironment::noSessionBus());
    QVERIFY(m_emulator.start());
    QVERIFY(m_data.isValid());
}

void TestNimblaAuth::init()
{
    m_emulator.clearFaults();
    QVERIFY(m_emulator.loadConfig({{"appAccountName", "NimblaAuthClientTests"}}));
    QCOMPARE(client({"logout"}).exitCode, 0);
}

Run TestNimblaAuth::run(const QStringList &arguments, const QByteArray &input)
{
    QProcess process;
#if QT_VERSION_MAJOR >= 6
    // Qt 6.4's network manager, torn down at exit, sometimes leaves the network-thread side of a reply
    // deleted a moment before behind on its stopped thread. Leaks of the library's own objects are looked
    // for in-process by the other suites.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString sanitizer = environment.value(QStringLiteral("ASAN_OPTIONS"));
    environment.insert(QStringLiteral("ASAN_OPTIONS"),
                       (sanitizer.isEmpty() ? QString() : sanitizer + QLatin1Char(':')) + "detect_leaks=0");
    process.setProcessEnvironment(environment);
#endif
    process.start(QStringLiteral(NIMBLA_AUTH), arguments);
    Run result;
    if (!process.waitForStarted(10000))
        return result;
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

Run TestNimblaAuth::client(const QStringList &arguments, const QByteArray &input)
{
    return run(QStringList{"--config", m_emulator.configPath(), "--data", m_data.path()} + arguments, input);
}

QString TestNimblaAuth::unreachableConfig()
{
    // Nothing listens on the privileged port 1; a port freed a moment ago could be taken again by then.
    const QString closed = QStringLiteral("http://127.0.0.1:1");
    QJsonObject urls = m_emulator.config().value("urls").toObject();
    for (auto it = urls.begin(); it != urls.end(); ++it)
        it.value() = it.value().toString().replace(m_emulator.baseUrl().toString(QUrl::StripTrailingSlash), closed);
    m_emulator.loadConfig({{"appAccountName", "NimblaAuthClientTests"}, {"urls", urls}});
    return m_emulator.configPath();
}

void TestNimblaAuth::exitCodes_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QJsonObject>("fault"); // on the proxy login
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("output"); // the start of standard output, or of the line on standard error

    const auto row = [](const char *tag, const QString &arguments, const QByteArray &input, int exitCode,
                        const QString &output, const QJsonObject &fault = {}) {
        QTest::newRow(tag) << arguments.split(' ') << input << fault << exitCode << output;
    };
    const QString password = "login --method password --login alice@example.com --password-stdin";
    const QString oauthPassword = "login --method oauth-password --login alice@example.com --password-stdin";
    const QString usage = "nimbla-auth: ";
    row("signed-in-password", password, "alice-password\n", 0,
        "Signed in\n  login:       alice@example.com\n  user name:   alice\n"
        "  user id:     7d1f6a52-0001-4c1e-9a11-a11ce0000001\n  merchant id: 12345\n  remembered:  no\n");
    row("signed-in-oauth-password", oauthPassword, "alice-password", 0, "Signed in\n");
    row("signed-in-social", "--follow-redirects login --method social-oauth --provider testbook", {}, 0,
        "Signed in\n  login:       frank");
    row("signed-in-playfab", "login --method playfab --login alice@example.com --password-stdin", "alice-password\n",
        0, "Signed in\n  login:       alice@example.com\n");
    // The stand-in Steam client that the emulator's configuration names plays its default player.
    row("signed-in-steam", "login --method steam-oauth --app-id 700100", {}, 0,
        "Signed in\n  login:       ivan-steam@example.com\n  user name:   Ivan the Steam player\n");
    // No application id: PlayFab's player is the Steam account's, here a new one.
    row("signed-in-steam-playfab", "login --method steam-playfab", {}, 0,
        "Signed in\n  login:       \n  user name:   steam-ivan\n");
    row("signed-in-mailru", "login --method mailru --uid mailru-1001 --ticket mailru-ticket-1001", {}, 0,
        "Signed in\n  login:       ivan-mailru@example.com\n");
    // The stand-in Stone launcher's default player.
    row("signed-in-stone", "login --method stone --app-id 4242", {}, 0, "Signed in\n  login:       mike-stone@example.com\n");
    row("refused-wrong-password", oauthPassword, "not-her-password\n", 1, usage + "Login or password is incorrect");
    row("refused-captcha", "login --method password --login carol-captcha@example.com --password-stdin",
        "carol-password\n", 1,
        usage + "the service asks for a captcha; sign in on its website once, then try again");
    row("refused-nothing-remembered", "restore", {}, 1,
        usage + "there is no remembered session; sign in with --remember first");
    row("unreachable-timed-out", "--timeout 2 " + password, "alice-password\n", 3,
        usage + "no answer within 2 seconds", {{"delayMs", 10000}});
    row("unreachable-connection-dropped", password, "alice-password\n", 3, usage + "Connection closed",
        {{"drop", true}});
    row("bad-usage-steam-without-app-id", "login --method steam", {}, 2,
        usage + "the game's Steam application id is not known; give --app-id");
    row("bad-usage-mailru-without-ticket", "login --method mailru --uid mailru-1001", {}, 2,
        usage + "the game centre's user id and ticket are not known");
    row("bad-usage-no-browser", "login --method social-oauth", {}, 2, usage + "no browser would open http");
    row("bad-usage-password-argument", password + " --password alice-password", {}, 2,
        usage + "Unknown option 'password'.");
    row("bad-usage-no-password", password, {}, 2, usage + "no password was given");
    row("bad-usage-no-terminal", "login --method password --login alice@example.com", "alice-password\n", 2,
        usage + "no terminal to read the password from; use --password-stdin");
    row("bad-usage-unknown-provider", "login --method social-oauth --provider nobook", {}, 2,
        usage + "there is no social provider named \"nobook\"");
}

void TestNimblaAuth::exitCodes()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QJsonObject, fault);
    QFETCH(int, exitCode);
    QFETCH(QString, output);
    if (!fault.isEmpty())
        m_emulator.injectFault(QUrl(m_emulator.config().value("urls").toObject().value("proxyLoginUrl").toString()),
                               fault);

    const Run result = client(arguments, input);
    // A sanitizer's report ends the client with its own code; what it says is on standard error.
    QVERIFY2(result.exitCode == exitCode,
             qPrintable(QStringLiteral("exit code %1: %2").arg(result.exitCode).arg(QString::fromUtf8(result.err))));
    if (exitCode == 0) {
        QVERIFY2(QString::fromUtf8(result.out).startsWith(output), result.out.constData());
        QCOMPARE(result.err, QByteArray());
    } else {
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(result.err.count('\n'), 1);
        QVERIFY2(QString::fromUtf8(result.err).startsWith(output), result.err.constData());
    }
}

void TestNimblaAuth::platformAccountWithoutEmail_data()
{
    QTest::addColumn<QStringList>("login");
    QTest::addColumn<QVariantMap>("player");
    QTest::addColumn<QString>("refusal"); // how the service refuses an address without "@"

    // One account each: the emulator keeps an address it was given until it exits.
    QTest::newRow("steam") << QStringList{"login", "--method", "steam", "--app-id", "700100"}
                           << QVariantMap{{"NIMBLA_STEAM_TICKET", "steam-judy"}} << "Bad Request";
    QTest::newRow("stone") << QStringList{"login", "--method", "stone", "--app-id", "4242"}
                           << QVariantMap{{"NIMBLA_STONE_USER_ID", "5002"}, {"NIMBLA_STONE_TICKET", "stone-ticket-5002"}}
                           << "Unprocessable Entity";
}

void TestNimblaAuth::platformAccountWithoutEmail()
{
    QFETCH(QStringList, login);
    QFETCH(QVariantMap, player);
    QFETCH(QString, refusal);
    const PlatformPlayer playing(player);

    const Run withoutAddress = client(login);
    QCOMPARE(withoutAddress.exitCode, 1);
    QCOMPARE(withoutAddress.err, QByteArray("nimbla-auth: the account has no e-mail address, which this product needs; "
                                            "add one in the launcher\n"));

    const Run refused = client(login + QStringList{"--email", "not-an-address"});
    QCOMPARE(refused.exitCode, 1);
    QVERIFY2(refused.err.startsWith("nimbla-auth: the service did not take the e-mail address: Error transferring "),
             refused.err.constData());
    QVERIFY2(refused.err.endsWith(" - server replied: " + refusal.toUtf8() + '\n'), refused.err.constData());

    const QString address = QStringLiteral("%1-cli@example.com").arg(QTest::currentDataTag());
    const Run taken = client(login + QStringList{"--email", address});
    QCOMPARE(taken.exitCode, 0);
    QVERIFY2(taken.out.startsWith("Signed in\n  login:       " + address.toUtf8() + '\n'), taken.out.constData());
    // The address stays the account's: the next sign-in needs none.
    QCOMPARE(client(login).exitCode, 0);
}

void TestNimblaAuth::tokenPrintsOnlyTheJwt()
{
    QCOMPARE(client({"token"}).exitCode, 1);
    QCOMPARE(client({"login", "--method", "oauth-password", "--login", "alice@example.com", "--password-stdin",
                     "--remember"},
                    "alice-password\n")
                     .exitCode,
             0);

    const Run token = client({"token"});
    QCOMPARE(token.exitCode, 0);
    QCOMPARE(token.err, QByteArray());
    QVERIFY(token.out.endsWith('\n'));
    const QByteArray jwt = token.out.chopped(1);
    QCOMPARE(jwt.count('.'), 2);
    QCOMPARE(jwtPayload(jwt).value("username").toString(), QStringLiteral("alice"));

    const Run whoami = client({"whoami"});
    QCOMPARE(whoami.exitCode, 0);
    QVERIFY2(whoami.out.contains("  user name:   alice\n"), whoami.out.constData());

    // Logged out: neither the session nor the account is left.
    QCOMPARE(client({"logout"}).exitCode, 0);
    const Run after = client({"token"});
    QCOMPARE(after.exitCode, 1);
    QCOMPARE(after.out, QByteArray());
}

void TestNimblaAuth::jsonOutput()
{
    const QStringList login{"--json", "login", "--method", "password", "--login", "alice@example.com", "--password-stdin"};
    const Run signedIn = client(login, "alice-password\n");
    QCOMPARE(signedIn.exitCode, 0);
    QJsonParseError error{};
    QCOMPARE(QJsonDocument::fromJson(signedIn.out, &error).object(),
             (QJsonObject{{"signedIn", true}, {"login", "alice@example.com"}, {"userName", "alice"},
                          {"userId", "7d1f6a52-0001-4c1e-9a11-a11ce0000001"}, {"merchantId", "12345"},
                          {"remembered", false}}));
    QCOMPARE(error.error, QJsonParseError::NoError);

    const Run withAttributes = client(QStringList{"--attributes"} + login, "alice-password\n");
    QCOMPARE(withAttributes.exitCode, 0);
    QCOMPARE(json(withAttributes).value("attribute").toObject(),
             (QJsonObject{{"key", "favourite_class"}, {"written", "ranger"}, {"read", "ranger"}}));

    const Run providers = client({"providers", "--json"});
    QCOMPARE(providers.exitCode, 0);
    const QJsonObject first = json(providers).value("providers").toArray().first().toObject();
    QCOMPARE(first.value("title").toString(), QStringLiteral("testbook"));
    QVERIFY(first.value("link").toString().startsWith(m_emulator.baseUrl().toString()));

    const Run refused = client(login, "not-her-password\n");
    QCOMPARE(refused.exitCode, 1);
    QCOMPARE(json(refused), (QJsonObject{{"signedIn", false}, {"exitCode", 1}, {"error", "Login or password is incorrect"}}));

    const Run unreachable = run({"--config", unreachableConfig(), "--data", m_data.path(), "--json", "providers"});
    QCOMPARE(unreachable.exitCode, 3);
    QCOMPARE(json(unreachable).value("exitCode").toInt(), 3);
    QCOMPARE(unreachable.err, QByteArray("nimbla-auth: Failed download social providers\n"));

    const Run badConfig = run({"--config", m_data.filePath("missing.json"), "--json", "providers"});
    QCOMPARE(badConfig.exitCode, 2);
    QVERIFY2(badConfig.err.startsWith("nimbla-auth: cannot load the configuration"), badConfig.err.constData());
}

void TestNimblaAuth::demoOptionsAgainstPrivateEmulator()
{
    // What scripts/demo.sh runs: the emulator's own player, nothing typed, the old options.
    QTemporaryDir data;
    const QStringList emulator{"--emulator", NIMBLA_EMULATOR, "--data", data.path()};
    const Run jwt = run(emulator);
    QCOMPARE(jwt.exitCode, 0);
    QVERIFY2(jwt.out.contains("  user name:   alice\n"), jwt.out.constData());
    const Run social = run(emulator + QStringList{"--method", "social"});
    QCOMPARE(social.exitCode, 0);
    QVERIFY2(social.out.contains("  user name:   frank\n"), social.out.constData());

    QCOMPARE(run(emulator + QStringList{"--method", "oauth-password", "--remember"}).exitCode, 0);
    const Run restored = run(emulator + QStringList{"--restore"});
    QCOMPARE(restored.exitCode, 0);
    QVERIFY2(restored.out.contains("  remembered:  yes\n"), restored.out.constData());
    const Run otp = run(emulator + QStringList{"--otp"});
    QCOMPARE(otp.exitCode, 0);
    QVERIFY2(otp.out.contains("  user name:   alice\n"), otp.out.constData());
    QCOMPARE(run(emulator + QStringList{"logout"}).exitCode, 0);
}

QTEST_GUILESS_MAIN(TestNimblaAuth)
#include "tst_nimblaauth.moc"
