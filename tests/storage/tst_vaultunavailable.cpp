// The vault when it cannot serve: no session bus at all (how CTest starts this test),
// a bus without a Secret Service, a locked keyring and a frozen keyring daemon, each
// built here on a private bus, and a bus that lets the client in and then never answers,
// served by this test. The operations run in a child process per case, since a process
// keeps the first bus it reaches.

#include "storage/credentials.h"
#include "storage/nativesecurejsonobjectstorage.h"

#include "testenvironment.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QSignalSpy>
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
// Then a write that is only queued, and its failure reported while the application quits:
// "queued <milliseconds to queue> <read from the queue> <milliseconds to read>".
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
    NimblaSDK::queueCredentialWrite({ProbeKey, QStringLiteral("probe-user"), ProbeSecret});
    const qint64 queuing = timer.restart();
    const bool readFromQueue = NimblaSDK::readCredential(ProbeKey).userName == QLatin1String("probe-user");
    std::printf("queued %lld %d %lld\n", queuing, readFromQueue ? 1 : 0, timer.restart());
    return 0;
}

enum class Failure { NoBus, NoService, Locked, Frozen, SilentBus };

// Accepts a client with just enough of the D-Bus handshake (text lines ended by BEGIN),
// then reads its messages, the bus greeting included, and answers none of them.
class SilentBus : public QObject
{
public:
    bool start()
    {
        m_server.setSocketOptions(QLocalServer::UserAccessOption);
        if (!m_folder.isValid() || !m_server.listen(m_folder.filePath(QStringLiteral("bus"))))
            return false;
        connect(&m_server, &QLocalServer::newConnection, this, [this] {
            while (QLocalSocket *client = m_server.nextPendingConnection()) {
                client->setParent(this);
                connect(client, &QLocalSocket::readyRead, this, [this, client] { handshake(client); });
            }
        });
        return true;
    }

    QString address() const { return QStringLiteral("unix:path=") + m_server.fullServerName(); }

private:
    void handshake(QLocalSocket *client)
    {
        // Once BEGIN has gone by, the client speaks binary messages, which are left unanswered.
        if (m_begun.contains(client)) {
            client->readAll();
            return;
        }
        // The client opens with one NUL byte before its first line.
        if (client->peek(1) == QByteArray(1, '\0'))
            client->read(1);
        while (!m_begun.contains(client) && client->canReadLine()) {
            const QByteArray line = client->readLine().trimmed();
            const QList<QByteArray> words = line.split(' ');
            if (line == "AUTH")
                client->write("REJECTED EXTERNAL\r\n");
            else if (words.first() == "AUTH" && words.size() == 2)
                client->write("DATA\r\n"); // asks for the initial response that was left out
            else if (words.first() == "AUTH" || words.first() == "DATA")
                client->write("OK 0123456789abcdef0123456789abcdef\r\n");
            else if (line == "NEGOTIATE_UNIX_FD")
                client->write("AGREE_UNIX_FD\r\n");
            else if (line == "BEGIN")
                m_begun.insert(client);
            else
                client->write("ERROR\r\n");
        }
        if (m_begun.contains(client))
            client->readAll();
    }

    QTemporaryDir m_folder;
    QLocalServer m_server;
    QSet<QLocalSocket *> m_begun;
};

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
    qRegisterMetaType<QProcess::ExitStatus>();
}

void TestVaultUnavailable::failsFastAndSaysWhy_data()
{
    QTest::addColumn<Failure>("failure");
    QTest::addColumn<QString>("cause");

    QTest::newRow("no-session-bus") << Failure::NoBus << QStringLiteral("no D-Bus session bus is available");
    QTest::newRow("no-secret-service") << Failure::NoService << QStringLiteral("no Secret Service is running");
    QTest::newRow("locked-keyring") << Failure::Locked << QStringLiteral("the default keyring is locked");
    QTest::newRow("frozen-daemon") << Failure::Frozen << QStringLiteral("the Secret Service did not answer within 2000 ms");
    QTest::newRow("silent-bus") << Failure::SilentBus << QStringLiteral("the Secret Service did not answer within 2000 ms");
}

void TestVaultUnavailable::failsFastAndSaysWhy()
{
    QFETCH(Failure, failure);
    QFETCH(QString, cause);
    const bool frozen = failure == Failure::Frozen;
    const bool unanswered = frozen || failure == Failure::SilentBus;

    PrivateBus bus;
    SilentBus silentBus;
    if (failure == Failure::SilentBus)
        QVERIFY(silentBus.start());
    else if (failure != Failure::NoBus)
        QVERIFY2(bus.start(), qPrintable(bus.error()));
    if (failure == Failure::Locked || frozen)
        QVERIFY2(bus.startKeyring(), qPrintable(bus.error()));
    if (failure == Failure::Locked)
        QVERIFY2(bus.lockKeyring(), qPrintable(bus.error()));
    if (frozen)
        QVERIFY2(bus.freezeKeyring(), qPrintable(bus.error()));

    QProcess probe;
    QProcessEnvironment environment = bus.environment();
    if (failure == Failure::SilentBus)
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), silentBus.address());
    probe.setProcessEnvironment(environment);
    QSignalSpy finished(&probe, qOverload<int, QProcess::ExitStatus>(&QProcess::finished));
    QElapsedTimer timer;
    timer.start();
    probe.start(QCoreApplication::applicationFilePath(), {QLatin1String(ProbeOption)});
    // The event loop runs meanwhile: the silent bus is served from it.
    QVERIFY(finished.wait(4 * OperationBoundMs + 5000));
    QCOMPARE(probe.exitStatus(), QProcess::NormalExit);
    QCOMPARE(probe.exitCode(), 0);
    QVERIFY(timer.elapsed() < 4 * OperationBoundMs + 2000);

    const QString output = QString::fromUtf8(probe.readAllStandardOutput());
    const QString errors = QString::fromUtf8(probe.readAllStandardError());
    QVERIFY2(!output.contains(ProbeSecret) && !errors.contains(ProbeSecret), "The secret was printed");

    const QStringList lines = output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    const QStringList operations{QStringLiteral("save"), QStringLiteral("read"), QStringLiteral("delete")};
    // The read of the queued write leaves its trace before the last line.
    QCOMPARE(lines.mid(operations.size()).first(), QStringLiteral("All right!"));
    QCOMPARE(lines.size(), operations.size() + 2);
    for (int i = 0; i < operations.size(); ++i) {
        // Failed, within the bound, and where nothing answers not before the watchdog fired.
        const QRegularExpressionMatch match = QRegularExpression('^' + operations.at(i) + " 0 (\\d+)$").match(lines.at(i));
        QVERIFY2(match.hasMatch(), qPrintable(lines.at(i)));
        const qint64 elapsed = match.captured(1).toLongLong();
        QVERIFY2(elapsed < OperationBoundMs && (!unanswered || elapsed >= WatchdogMs - 100), qPrintable(lines.at(i)));
    }
    // Neither queuing nor reading what is queued waits for the vault, whatever state it is in.
    const QRegularExpressionMatch queued = QRegularExpression(QStringLiteral("^queued (\\d+) 1 (\\d+)$")).match(lines.last());
    QVERIFY2(queued.hasMatch() && queued.captured(1).toLongLong() < 100 && queued.captured(2).toLongLong() < 100,
             qPrintable(lines.last()));

    for (const QString &operation : {QStringLiteral("write"), QStringLiteral("read"), QStringLiteral("delete")}) {
        const QString warning = QStringLiteral("Cannot %1 the credential %2 - %3").arg(operation, ProbeKey, cause);
        QVERIFY2(errors.contains(warning), qPrintable(QStringLiteral("missing \"%1\" in:\n%2").arg(warning, errors)));
    }
    QVERIFY2(errors.contains(QRegularExpression(QStringLiteral("^Error while saving credentials: code \\d+$"),
                                                QRegularExpression::MultilineOption)),
             qPrintable(errors));
    // Both writes, the waited and the queued one, warn once each.
    QCOMPARE(errors.count(QStringLiteral("Cannot write the credential %1 - %2").arg(ProbeKey, cause)), 2);
    QCOMPARE(errors.count(QStringLiteral("Error while saving credentials: ")), 4);
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
