// The vault when it cannot serve: no session bus at all (how CTest starts this test),
// a bus without a Secret Service, a locked keyring and a frozen keyring daemon, each
// built here on a private bus. The operations run in a child process per case, since
// a process keeps the first bus it reaches.

#include "storage/credentials.h"
#include "storage/nativesecurejsonobjectstorage.h"

#include "testenvironment.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

#include <signal.h>

using NimblaSDK::NativeSecureJsonObjectStorage;

namespace {

const char *const ProbeOption = "--probe";
const QString ProbeKey = QStringLiteral("tst-unavailable-key");
// Must never show up in any output, whatever fails.
const QString ProbeSecret = QStringLiteral("probe-secret-Ω-7f3a");

// The bound is the watchdog's two seconds plus room for a loaded machine.
constexpr qint64 OperationBoundMs = 2800;
constexpr qint64 WatchdogMs = 2000;

// One "<operation> <outcome> <milliseconds>" line per operation, for the parent to judge.
int runProbe()
{
    NativeSecureJsonObjectStorage storage(ProbeKey);
    QElapsedTimer timer;

    timer.start();
    const bool saved = storage.save(QJsonObject{{QStringLiteral("secret"), ProbeSecret}});
    std::printf("save %d %lld\n", saved ? 1 : 0, timer.restart());
    const bool empty = storage.read().isEmpty();
    std::printf("read %d %lld\n", empty ? 0 : 1, timer.restart());
    const bool deleted = NimblaSDK::deleteCredential(ProbeKey);
    std::printf("delete %d %lld\n", deleted ? 1 : 0, timer.restart());
    return 0;
}

enum class Failure { NoBus, NoService, Locked, Frozen };

// A session bus that knows no services, and on request a keyring daemon on it.
class PrivateBus
{
public:
    ~PrivateBus()
    {
        if (m_keyring.state() != QProcess::NotRunning) {
            ::kill(pid_t(m_keyring.processId()), SIGCONT);
            stop(m_keyring);
        }
        stop(m_bus);
    }

    QString error() const { return m_error; }
    QProcessEnvironment environment() const
    {
        const QString home = m_home.path();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home);
        environment.insert(QStringLiteral("XDG_DATA_HOME"), home + QStringLiteral("/.local/share"));
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
        // A keyring daemon finds a running one through its control socket in the runtime folder and
        // hands over to it; the private daemon needs a runtime folder of its own to really start.
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), home + QStringLiteral("/run"));
        environment.remove(QStringLiteral("GNOME_KEYRING_CONTROL"));
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_address);
        environment.remove(QStringLiteral("DISPLAY"));
        return environment;
    }

    bool start()
    {
        if (!QDir().mkpath(m_home.filePath(QStringLiteral("run")))
            || !QFile::setPermissions(m_home.filePath(QStringLiteral("run")),
                                      QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner))
            return fail(QStringLiteral("cannot make the runtime folder"));
        const QString config = m_home.filePath(QStringLiteral("bus.conf"));
        QFile file(config);
        if (!file.open(QIODevice::WriteOnly))
            return fail(QStringLiteral("cannot write the bus configuration"));
        file.write(QStringLiteral(
                       "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
                       " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                       "<busconfig><type>session</type><listen>unix:dir=%1</listen><auth>EXTERNAL</auth>\n"
                       "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                       "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n")
                       .arg(m_home.path())
                       .toUtf8());
        file.close();

        m_bus.start(QStringLiteral("dbus-daemon"),
                    {QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                     QStringLiteral("--print-address=1")});
        if (!m_bus.waitForStarted(5000))
            return fail(QStringLiteral("dbus-daemon does not start: ") + m_bus.errorString());
        QByteArray output;
        while (!output.contains('\n') && m_bus.waitForReadyRead(5000))
            output += m_bus.readAllStandardOutput();
        m_address = QString::fromUtf8(output).trimmed();
        if (m_address.isEmpty())
            return fail(QStringLiteral("dbus-daemon printed no address"));
        return true;
    }

    bool startKeyring()
    {
        m_keyring.setProcessEnvironment(environment());
        m_keyring.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_keyring.start(QStringLiteral("gnome-keyring-daemon"), arguments("--unlock --components=secrets --foreground"));
        if (!m_keyring.waitForStarted(5000))
            return fail(QStringLiteral("gnome-keyring-daemon does not start: ") + m_keyring.errorString());
        // The unlock password must not be empty.
        m_keyring.write("ci");
        m_keyring.waitForBytesWritten(5000);
        m_keyring.closeWriteChannel();
        return runTool(QStringLiteral("gdbus"), arguments("wait --session --timeout 10 org.freedesktop.secrets"));
    }

    bool lockKeyring()
    {
        return runTool(QStringLiteral("gdbus"),
                       arguments("call --session --dest org.freedesktop.secrets --object-path /org/freedesktop/secrets "
                                 "--method org.freedesktop.Secret.Service.Lock ['/org/freedesktop/secrets/aliases/default']"));
    }

    bool freezeKeyring()
    {
        if (::kill(pid_t(m_keyring.processId()), SIGSTOP) != 0)
            return fail(QStringLiteral("cannot stop the keyring daemon"));
        return true;
    }

private:
    static QStringList arguments(const char *line) { return QString::fromLatin1(line).split(QLatin1Char(' ')); }

    bool fail(const QString &error)
    {
        m_error = error;
        return false;
    }

    bool runTool(const QString &program, const QStringList &arguments)
    {
        QProcess tool;
        tool.setProcessEnvironment(environment());
        tool.start(program, arguments);
        if (!tool.waitForFinished(15000) || tool.exitStatus() != QProcess::NormalExit || tool.exitCode() != 0)
            return fail(program + QLatin1Char(' ') + arguments.join(QLatin1Char(' ')) + QStringLiteral(" failed: ")
                        + QString::fromUtf8(tool.readAllStandardError()));
        return true;
    }

    static void stop(QProcess &process)
    {
        if (process.state() == QProcess::NotRunning)
            return;
        process.terminate();
        if (!process.waitForFinished(5000)) {
            process.kill();
            process.waitForFinished(2000);
        }
    }

    QTemporaryDir m_home{QStringLiteral("/tmp/nimbla-bus-XXXXXX")};
    QString m_address;
    QString m_error;
    QProcess m_bus;
    QProcess m_keyring;
};

} // namespace

Q_DECLARE_METATYPE(Failure)

class TestVaultUnavailable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void failsFastAndSaysWhy_data();
    void failsFastAndSaysWhy();
};

void TestVaultUnavailable::initTestCase()
{
    QVERIFY2(qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"),
             "CTest registers this test with an empty DBUS_SESSION_BUS_ADDRESS");
    for (const char *tool : {"dbus-daemon", "gnome-keyring-daemon", "gdbus"})
        NIMBLA_REQUIRE_ENVIRONMENT(!QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty(),
                                   QStringLiteral("%1 is needed to build the failing services").arg(QLatin1String(tool)));
}

void TestVaultUnavailable::failsFastAndSaysWhy_data()
{
    QTest::addColumn<Failure>("failure");
    QTest::addColumn<QString>("cause");

    QTest::newRow("no-session-bus") << Failure::NoBus << QStringLiteral("no D-Bus session bus is available");
    QTest::newRow("no-secret-service") << Failure::NoService << QStringLiteral("no Secret Service is running");
    QTest::newRow("locked-keyring") << Failure::Locked << QStringLiteral("the default keyring is locked");
    QTest::newRow("frozen-daemon") << Failure::Frozen << QStringLiteral("the Secret Service did not answer within 2000 ms");
}

void TestVaultUnavailable::failsFastAndSaysWhy()
{
    QFETCH(Failure, failure);
    QFETCH(QString, cause);
    const bool frozen = failure == Failure::Frozen;

    PrivateBus bus;
    if (failure != Failure::NoBus)
        QVERIFY2(bus.start(), qPrintable(bus.error()));
    if (failure == Failure::Locked || frozen)
        QVERIFY2(bus.startKeyring(), qPrintable(bus.error()));
    if (failure == Failure::Locked)
        QVERIFY2(bus.lockKeyring(), qPrintable(bus.error()));
    if (frozen)
        QVERIFY2(bus.freezeKeyring(), qPrintable(bus.error()));

    QProcess probe;
    probe.setProcessEnvironment(bus.environment());
    QElapsedTimer timer;
    timer.start();
    probe.start(QCoreApplication::applicationFilePath(), {QLatin1String(ProbeOption)});
    QVERIFY(probe.waitForFinished(3 * OperationBoundMs + 5000));
    QCOMPARE(probe.exitStatus(), QProcess::NormalExit);
    QCOMPARE(probe.exitCode(), 0);
    QVERIFY(timer.elapsed() < 3 * OperationBoundMs + 2000);

    const QString output = QString::fromUtf8(probe.readAllStandardOutput());
    const QString errors = QString::fromUtf8(probe.readAllStandardError());
    QVERIFY2(!output.contains(ProbeSecret) && !errors.contains(ProbeSecret), "The secret was printed");

    const QStringList lines = output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    const QStringList operations{QStringLiteral("save"), QStringLiteral("read"), QStringLiteral("delete")};
    QCOMPARE(lines.size(), operations.size());
    for (int i = 0; i < lines.size(); ++i) {
        // Failed, within the bound, and with a frozen daemon not before the watchdog fired.
        const QRegularExpressionMatch match = QRegularExpression('^' + operations.at(i) + " 0 (\\d+)$").match(lines.at(i));
        QVERIFY2(match.hasMatch(), qPrintable(lines.at(i)));
        const qint64 elapsed = match.captured(1).toLongLong();
        QVERIFY2(elapsed < OperationBoundMs && (!frozen || elapsed >= WatchdogMs - 100), qPrintable(lines.at(i)));
    }

    for (const QString &operation : {QStringLiteral("write"), QStringLiteral("read"), QStringLiteral("delete")}) {
        const QString warning = QStringLiteral("Cannot %1 the credential %2 - %3").arg(operation, ProbeKey, cause);
        QVERIFY2(errors.contains(warning), qPrintable(QStringLiteral("missing \"%1\" in:\n%2").arg(warning, errors)));
    }
    QVERIFY2(errors.contains(QRegularExpression(QStringLiteral("^Error while saving credentials: code \\d+$"),
                                                QRegularExpression::MultilineOption)),
             qPrintable(errors));
    QCOMPARE(errors.count(QStringLiteral("Error while saving credentials: ")), 2);
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc == 2 && qstrcmp(argv[1], ProbeOption) == 0)
        return runProbe();
    TestVaultUnavailable test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_vaultunavailable.moc"
