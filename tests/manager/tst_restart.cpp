// A remembered session across starts of the launcher: each start is a child
// process with a fresh AuthManager, sharing the keyring, the settings and the
// emulator with the others, as successive runs of a launcher do. The child is
// this executable again, started with LauncherOption.
#include "authmanager.h"
#include "napplication.h"

#include "emulatorfixture.h"
#include "managersupport.h"
#include "simulatedbrowser.h"

#include <QEventLoop>
#include <QGuiApplication>
#include <QProcess>
#include <QtTest>

using namespace ManagerSupport;
using namespace NimblaSDK;

namespace {

const char *const LauncherOption = "--launcher";

// What the current session's sign-in came to, and the manager's state after it.
QJsonObject report(AuthManager &manager, bool wait)
{
    AbstractSession *session = manager.CurrentSession();
    int finished = 0;
    QJsonArray errors;
    if (session && wait) {
        QEventLoop loop;
        QObject::connect(session, &AbstractSession::loginFinished, &loop, [&] {
            ++finished;
            loop.quit();
        });
        QObject::connect(session, &AbstractSession::error, &loop, [&](const QString &text) {
            errors.append(text);
            loop.quit();
        });
        QTimer::singleShot(15000, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return {{"finished", finished}, {"errors", errors}, {"user", session ? session->userName() : QString()},
            {"autologin", manager.isAutologin()}, {"rememberMe", manager.rememberMe()}};
}

//! One start of the launcher: signs in ("signin") or restores the remembered session ("restore"),
//! then prints what happened as one JSON line.
int runLauncher(const QString &configPath, const QString &settingsPath, const QString &step)
{
    // Before the settings are first opened, so that every start shares them.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settingsPath);
    if (!NApplication::instance().loadConfiguration(configPath))
        return 2;
    SimulatedBrowser browser;
    browser.install();
    QJsonObject result;
    {
        AuthManager manager;
        if (step == QLatin1String("signin")) {
            manager.setRememberMe(true);
            manager.loginViaSocialNetworkOAuth(QStringLiteral("testbook"));
            result.insert("social", report(manager, true));
        } else {
            const bool started = manager.tryAutoLogin();
            result.insert("started", started);
            result.insert("restore", report(manager, started));
        }
    }
    result.insert("browserOpened", browser.opened().size());
    QTextStream(stdout) << QJsonDocument(result).toJson(QJsonDocument::Compact) << '\n';
    return 0;
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
    QProcess launcher;
    launcher.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    launcher.start(QCoreApplication::applicationFilePath(),
                   {LauncherOption, m_emulator.configPath(), m_emulator.tempPath() + "/config", step});
    if (!launcher.waitForFinished(60000) || launcher.exitStatus() != QProcess::NormalExit || launcher.exitCode() != 0) {
        qWarning() << "The launcher's" << step << "start failed:" << launcher.exitCode() << launcher.errorString();
        launcher.kill();
        launcher.waitForFinished();
        return {};
    }
    return QJsonDocument::fromJson(launcher.readAllStandardOutput().trimmed().split('\n').last()).object();
}

QStringList TestRestart::signInRequests()
{
    QStringList requests;
    for (const QJsonValue &request : m_emulator.requests()) {
        const QString path = request["path"].toString();
        const QUrlQuery form(request["body"].toString());
        if (path.endsWith(QLatin1String("/oauth2/token")))
            requests << form.queryItemValue("grant_type") + ' ' + form.queryItemValue("refresh_token");
        else if (!path.endsWith(QLatin1String("/social/providers")))
            requests << path;
    }
    return requests;
}

void TestRestart::offlineStartKeepsThePlayer()
{
    QCOMPARE(start("signin").value("social").toObject(), signedIn("frank", false));
    QCOMPARE(savedRecord().value("provider").toString(), QStringLiteral("testbook"));
    const QString token = savedRefreshToken();
    QVERIFY(token.startsWith("refresh-"));

    configure(false);
    const QJsonObject offline = start("restore");
    configure(true);
    QCOMPARE(offline.value("started").toBool(), true);
    QCOMPARE(offline.value("restore").toObject(), (QJsonObject{{"finished", 0}, {"errors", QJsonArray{"Connection refused"}},
                                                               {"user", ""}, {"autologin", false}, {"rememberMe", true}}));
    QCOMPARE(savedRefreshToken(), token);

    // Back online, the next start signs in by refresh alone, with neither password nor browser, and keeps the
    // rotated token.
    const QJsonObject online = start("restore");
    QCOMPARE(online.value("restore").toObject(), signedIn("frank", true));
    QCOMPARE(online.value("browserOpened").toInt(), 0);
    QCOMPARE(signInRequests(), QStringList{"refresh_token " + token});
    QVERIFY(savedRefreshToken().startsWith("refresh-"));
    QVERIFY(savedRefreshToken() != token);
}

int main(int argc, char *argv[])
{
    // A GUI application, as the launcher is: the simulated browser stands in for the desktop's.
    QGuiApplication app(argc, argv);
    if (argc == 5 && qstrcmp(argv[1], LauncherOption) == 0)
        return runLauncher(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]), QString::fromLocal8Bit(argv[4]));
    TestRestart test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_restart.moc"
