// The vault when it cannot serve: no session bus at all (how CTest starts this test), a bus
// without a Secret Service, a locked keyring and a frozen keyring daemon, each built by a few
// shell commands on a private bus, and a bus that lets the client in and then never answers,
// served by this test. The operations run in a child process per case, since a process
// keeps the first bus it reaches.

#include "storage/credentials.h"
#include "storage/nativesecurejsonobjectstorage.h"

#include "testenvironment.h"

#include <QCoreApplication>
#include <QElapsedTimer>
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
// Then a write that is only queued: "queued <milliseconds to queue> <read from the queue> <milliseconds to read>".
void runProbe()
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
}

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
        // The client opens with one NUL byte before its first line; a message never starts with one.
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
        // Once BEGIN has gone by, the client speaks binary messages, which are left unanswered.
        if (m_begun.contains(client))
            client->readAll();
    }

    QTemporaryDir m_folder;
    QLocalServer m_server;
    QSet<QLocalSocket *> m_begun;
};

} // namespace

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
    for (const char *tool : {"dbus-run-session", "gnome-keyring-daemon", "gdbus"})
        NIMBLA_REQUIRE_ENVIRONMENT(!QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty(),
                                   QStringLiteral("%1 is needed to build the failing services").arg(QLatin1String(tool)));
    qRegisterMetaType<QProcess::ExitStatus>();
}

void TestVaultUnavailable::failsFastAndSaysWhy_data()
{
    QTest::addColumn<QString>("setUp"); //!< run on a private bus, ending with the probe, "$1"; empty: no private bus
    QTest::addColumn<QString>("cause");

    // In the foreground, so that it can be frozen; the unlock password must not be empty.
    const QString keyring = QStringLiteral(
            "printf ci | gnome-keyring-daemon --unlock --components=secrets --foreground >/dev/null & keyring=$!; "
            "trap 'kill -CONT $keyring; kill $keyring' EXIT; "
            "gdbus wait --session --timeout 10 org.freedesktop.secrets && ");
    const QString lock = QStringLiteral(
            "gdbus call --session --dest org.freedesktop.secrets --object-path /org/freedesktop/secrets "
            "--method org.freedesktop.Secret.Service.Lock \"['/org/freedesktop/secrets/aliases/default']\" >/dev/null && ");
    const QString unanswered = QStringLiteral("the Secret Service did not answer within 2000 ms");
    QTest::newRow("no-session-bus") << QString() << "no D-Bus session bus is available";
    QTest::newRow("no-secret-service") << "\"$1\" --probe" << "no Secret Service is running";
    QTest::newRow("locked-keyring") << keyring + lock + "\"$1\" --probe" << "the default keyring is locked";
    QTest::newRow("frozen-daemon") << keyring + "kill -STOP $keyring && \"$1\" --probe" << unanswered;
    QTest::newRow("silent-bus") << QString() << unanswered;
}

void TestVaultUnavailable::failsFastAndSaysWhy()
{
    QFETCH(QString, setUp);
    QFETCH(QString, cause);
    const bool unanswered = cause.contains(QLatin1String("did not answer"));

    // A home of its own: a keyring daemon hands over to one it finds through these.
    QTemporaryDir home(QStringLiteral("/tmp/nimbla-bus-XXXXXX"));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR"})
        environment.insert(QString::fromLatin1(name), home.path());
    environment.remove(QStringLiteral("GNOME_KEYRING_CONTROL"));
    environment.remove(QStringLiteral("DISPLAY"));
    SilentBus silentBus;
    if (setUp.isEmpty() && unanswered) {
        QVERIFY(silentBus.start());
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), silentBus.address());
    }

    QProcess probe;
    probe.setProcessEnvironment(environment);
    QSignalSpy finished(&probe, qOverload<int, QProcess::ExitStatus>(&QProcess::finished));
    const QString self = QCoreApplication::applicationFilePath();
    if (setUp.isEmpty())
        probe.start(self, {QLatin1String(ProbeOption)});
    else
        probe.start(QStringLiteral("dbus-run-session"), {QStringLiteral("--config-file=" NIMBLA_PRIVATE_BUS_CONFIG),
                                                         "--", "sh", "-c", setUp, "sh", self});
    // The event loop runs meanwhile: the silent bus is served from it.
    QVERIFY(finished.wait(4 * OperationBoundMs + 15000));
    QCOMPARE(probe.exitStatus(), QProcess::NormalExit);
    QCOMPARE(probe.exitCode(), 0);

    const QString output = QString::fromUtf8(probe.readAllStandardOutput());
    const QString errors = QString::fromUtf8(probe.readAllStandardError());
    QVERIFY2(!output.contains(ProbeSecret) && !errors.contains(ProbeSecret), "The secret was printed");

    const QStringList lines = output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    const QStringList operations{QStringLiteral("save"), QStringLiteral("read"), QStringLiteral("delete")};
    // The read of the queued write leaves its trace before the queued line.
    QCOMPARE(lines.size(), operations.size() + 3);
    QCOMPARE(lines.at(operations.size()), QStringLiteral("All right!"));
    for (int i = 0; i < operations.size(); ++i) {
        // Failed, within the bound, and where nothing answers not before the watchdog fired.
        const QRegularExpressionMatch match = QRegularExpression('^' + operations.at(i) + " 0 (\\d+)$").match(lines.at(i));
        QVERIFY2(match.hasMatch(), qPrintable(lines.at(i)));
        const qint64 elapsed = match.captured(1).toLongLong();
        QVERIFY2(elapsed < OperationBoundMs && (!unanswered || elapsed >= WatchdogMs - 100), qPrintable(lines.at(i)));
    }
    // Neither queuing nor reading what is queued waits for the vault, whatever state it is in.
    const QRegularExpressionMatch queued = QRegularExpression(QStringLiteral("^queued (\\d+) 1 (\\d+)$")).match(lines.at(4));
    QVERIFY2(queued.hasMatch() && queued.captured(1).toLongLong() < 100 && queued.captured(2).toLongLong() < 100,
             qPrintable(lines.at(4)));
    // The queued write is tried while the application quits, within the bound too.
    const QRegularExpressionMatch quit = QRegularExpression(QStringLiteral("^quit (\\d+)$")).match(lines.last());
    QVERIFY2(quit.hasMatch() && quit.captured(1).toLongLong() < OperationBoundMs, qPrintable(lines.last()));

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
    if (argc == 2 && qstrcmp(argv[1], ProbeOption) == 0) {
        QElapsedTimer quitting;
        {
            QCoreApplication app(argc, argv);
            runProbe();
            quitting.start();
        }
        std::printf("quit %lld\n", quitting.elapsed());
        return 0;
    }
    QCoreApplication app(argc, argv);
    TestVaultUnavailable test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_vaultunavailable.moc"
