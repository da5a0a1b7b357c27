// A remembered session across starts of the launcher: each start is a child
// process with a fresh AuthManager, sharing the keyring, the settings and the
// emulator with the others, as successive runs of a launcher do.
#include "napplication.h"

#include "emulatorfixture.h"
#include "managersupport.h"

#include <QProcess>
#include <QtTest>

using namespace ManagerSupport;

namespace {

QJsonObject run(const QString &configPath, const QString &settingsPath, const QString &step)
{
    QProcess launcher;
    launcher.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    launcher.start(QStringLiteral(NIMBLA_RESTART_HELPER),
                   {"--config", configPath, "--settings", settingsPath, "--step", step});
    if (!launcher.waitForFinished(60000) || launcher.exitStatus() != QProcess::NormalExit || launcher.exitCode() != 0) {
        qWarning() << "The launcher's" << step << "start failed:" << launcher.exitCode() << launcher.errorString();
        launcher.kill();
        launcher.waitForFinished();
        return {};
    }
    const QList<QByteArray> lines = launcher.readAllStandardOutput().trimmed().split('\n');
    return QJsonDocument::fromJson(lines.last()).object();
}

QString savedRefreshToken()
{
    return savedRecord().value("state").toObject().value("refresh_token").toString();
}

QJsonObject signedIn(const QString &user, bool autologin)
{
    return {{"finished", 1}, {"errors", QJsonArray()}, {"user", user}, {"autologin", autologin}, {"rememberMe", true}};
}

} // namespace

class TestRestart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void rememberedAcrossStarts();
    void offlineStartKeepsThePlayer();

private:
    QJsonObject start(const QString &step);
    //! The launcher's configuration; \a online false points every service at a port where nothing listens.
    void configure(bool online);
    //! The token requests of the last start, as "grant_type refresh_token"; other sign-in requests by path.
    QStringList signInRequests();

    EmulatorFixture m_emulator;
};

void TestRestart::initTestCase()
{
    QVERIFY(m_emulator.start());
    configure(true);
    removeRecord();
}

void TestRestart::configure(bool online)
{
    QJsonObject urls;
    if (!online) {
        const QString port = QStringLiteral(":%1/").arg(m_emulator.baseUrl().port());
        const QJsonObject configured = m_emulator.config().value("urls").toObject();
        for (auto url = configured.begin(); url != configured.end(); ++url)
            urls.insert(url.key(), url.value().toString().replace(port, QStringLiteral(":1/")));
    }
    // A launcher of its own: the manager tests share this keyring and run beside this one.
    QVERIFY(m_emulator.loadConfig({{"appAccountName", "NimblaRestartLauncher"}, {"urls", urls}}));
}

QJsonObject TestRestart::start(const QString &step)
{
    m_emulator.clearRequests();
    return run(m_emulator.configPath(), m_emulator.tempPath() + QStringLiteral("/config"), step);
}

QStringList TestRestart::signInRequests()
{
    QStringList requests;
    for (const QJsonValue &value : m_emulator.requests()) {
        const QJsonObject request = value.toObject();
        const QString path = request.value("path").toString();
        if (path.endsWith(QLatin1String("/social/providers")))
            continue;
        const QUrlQuery form(request.value("body").toString());
        requests << (path.endsWith(QLatin1String("/oauth2/token"))
                             ? form.queryItemValue("grant_type") + ' ' + form.queryItemValue("refresh_token")
                             : path);
    }
    return requests;
}

void TestRestart::rememberedAcrossStarts()
{
    QCOMPARE(start("signin").value("social").toObject(), signedIn("frank", false));
    QCOMPARE(savedRecord().value("type").toString(), QStringLiteral("OAuth2"));
    QCOMPARE(savedRecord().value("provider").toString(), QStringLiteral("testbook"));
    const QString token = savedRefreshToken();
    QVERIFY(token.startsWith("refresh-"));

    // By refresh alone: no password, no browser. Logging out forgets the player.
    const QJsonObject second = start("restore-logout");
    QCOMPARE(second.value("started").toBool(), true);
    QCOMPARE(second.value("restore").toObject(), signedIn("frank", true));
    QCOMPARE(second.value("browserOpened").toInt(), 0);
    QCOMPARE(signInRequests(), QStringList{"refresh_token " + token});
    QCOMPARE(second.value("afterLogout").toObject(),
             (QJsonObject{{"finished", 0}, {"errors", QJsonArray()}, {"user", ""}, {"autologin", false},
                          {"rememberMe", false}}));
    QCOMPARE(savedRecord(), QJsonObject());

    QCOMPARE(start("restore").value("started").toBool(), false);
    QCOMPARE(signInRequests(), QStringList());
}

void TestRestart::offlineStartKeepsThePlayer()
{
    QCOMPARE(start("signin").value("social").toObject(), signedIn("frank", false));
    const QString token = savedRefreshToken();

    configure(false);
    const QJsonObject offline = start("restore");
    configure(true);
    QCOMPARE(offline.value("started").toBool(), true);
    const QJsonObject outcome = offline.value("restore").toObject();
    QCOMPARE(outcome.value("finished").toInt(), 0);
    QCOMPARE(outcome.value("errors").toArray(), QJsonArray{"Connection refused"});
    QCOMPARE(outcome.value("autologin").toBool(), false);
    QCOMPARE(outcome.value("rememberMe").toBool(), true);
    QCOMPARE(savedRefreshToken(), token);

    // Back online, the next start signs in without a password, and keeps the rotated token.
    const QJsonObject online = start("restore");
    QCOMPARE(online.value("restore").toObject(), signedIn("frank", true));
    QCOMPARE(signInRequests(), QStringList{"refresh_token " + token});
    QVERIFY(savedRefreshToken().startsWith("refresh-"));
    QVERIFY(savedRefreshToken() != token);
}

QTEST_GUILESS_MAIN(TestRestart)
#include "tst_restart.moc"
