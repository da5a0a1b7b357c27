// What the library costs a launcher that links it, before any sign-in and
// through one:
//
// - loading: the time dlopen() takes to load libNimblaAuth into a fresh
//   process that already has QtCore and QtNetwork, as a launcher has them,
//   beside a small Qt module loaded the same way; median of many processes.
//   The goal is held against the CPU time: on a machine shared with other
//   work the clock also counts the time they had the CPU;
// - memory: the peak resident memory of nimbla-auth, the command-line client,
//   signing in with a password against the emulator, beside a bare Qt client
//   that sends the very requests the emulator logged for that sign-in.
//
// Run it inside a D-Bus session with an unlocked Secret Service, as
// scripts/bench.sh does: the client then uses the vault as a launcher does.
#include "emulatorprocess.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <vector>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

const char Login[] = "alice@example.com";
const char Password[] = "alice-password";

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

struct Outcome
{
    bool exitedWithZero = false;
    long peakKb = 0; //!< the process's peak resident memory
    QByteArray output;
};

// posix_spawn and wait4 rather than QProcess: the child's own peak resident memory is
// known only to the wait for it.
Outcome run(const QString &program, const QStringList &arguments, const QByteArray &input = {})
{
    Outcome outcome;
    int toChild[2];
    int fromChild[2];
    if (pipe(toChild) != 0)
        return outcome;
    if (pipe(fromChild) != 0) {
        close(toChild[0]);
        close(toChild[1]);
        return outcome;
    }
    std::vector<QByteArray> words{program.toLocal8Bit()};
    for (const QString &argument : arguments)
        words.push_back(argument.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toChild[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fromChild[1], STDOUT_FILENO);
    for (const int descriptor : {toChild[0], toChild[1], fromChild[0], fromChild[1]})
        posix_spawn_file_actions_addclose(&actions, descriptor);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(toChild[0]);
    close(fromChild[1]);
    if (spawned == 0 && !input.isEmpty())
        (void)!write(toChild[1], input.constData(), size_t(input.size()));
    close(toChild[1]);
    char buffer[4096];
    for (ssize_t got; (got = read(fromChild[0], buffer, sizeof buffer)) > 0;)
        outcome.output.append(buffer, int(got));
    close(fromChild[0]);
    if (spawned != 0)
        return outcome;

    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) == pid) {
        outcome.exitedWithZero = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        outcome.peakKb = usage.ru_maxrss;
    }
    return outcome;
}

template <typename T>
T median(std::vector<T> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? T() : values[values.size() / 2];
}

struct Load
{
    double ms = 0;
    double cpuMs = 0; //!< without the time other processes had the CPU
    long threads = 0;
    double residentMb = 0;
};

// The medians of \a runs fresh processes for each library, each process loading one library once;
// the libraries take turns, so that a busy moment of the machine falls on all alike. After one
// unmeasured load of each, so that every measured one finds the files in the page cache.
bool measureLoads(const QString &probe, const QStringList &libraries, int runs, std::vector<Load> *loads)
{
    std::vector<std::vector<double>> ms(libraries.size()), cpuMs(libraries.size()), residentMb(libraries.size());
    std::vector<long> threads(libraries.size());
    for (int run = -1; run < runs; ++run) {
        for (int index = 0; index < libraries.size(); ++index) {
            const Outcome outcome = ::run(probe, {QStringLiteral("load"), libraries.at(index)});
            const QList<QByteArray> figures = outcome.output.simplified().split(' ');
            if (!outcome.exitedWithZero || figures.size() != 4) {
                out() << "Cannot load " << libraries.at(index) << Qt::endl;
                return false;
            }
            if (run < 0)
                continue;
            ms[index].push_back(figures.at(0).toDouble() / 1000);
            cpuMs[index].push_back(figures.at(1).toDouble() / 1000);
            threads[index] = std::max(threads[index], figures.at(2).toLong());
            residentMb[index].push_back(figures.at(3).toDouble() * 1024 / 1e6);
        }
    }
    loads->clear();
    for (int index = 0; index < libraries.size(); ++index)
        loads->push_back({median(ms[index]), median(cpuMs[index]), threads[index], median(residentMb[index])});
    return true;
}

// What the emulator logged, without what may differ between two clients of the same requests.
QJsonArray loggedRequests(EmulatorProcess &emulator)
{
    QJsonArray requests;
    for (const QJsonValue &value : QJsonDocument::fromJson(emulator.send("GET", QStringLiteral("/admin/requests"))).array()) {
        QJsonObject request = value.toObject();
        request.remove(QStringLiteral("sequence"));
        requests.append(request);
    }
    emulator.send("DELETE", QStringLiteral("/admin/requests"));
    return requests;
}

QString signature(const QJsonArray &requests)
{
    QStringList lines;
    for (const QJsonValue &value : requests) {
        const QJsonObject request = value.toObject();
        lines << request.value(QLatin1String("method")).toString() + QLatin1Char(' ')
                         + request.value(QLatin1String("path")).toString() + QLatin1Char('?')
                         + request.value(QLatin1String("query")).toString() + QLatin1Char(' ')
                         + request.value(QLatin1String("body")).toString();
    }
    std::sort(lines.begin(), lines.end()); // the client sends some of them at once
    return lines.join(QLatin1Char('\n'));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Measures what loading NimblaAuth and signing in with it cost."));
    parser.addHelpOption();
    const QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Processes per loading figure."),
                                        QStringLiteral("count"), QStringLiteral("20"));
    const QCommandLineOption signInsOption(QStringLiteral("sign-ins"),
                                           QStringLiteral("Sign-ins per memory figure."), QStringLiteral("count"),
                                           QStringLiteral("5"));
    const QCommandLineOption libraryOption(QStringLiteral("library"), QStringLiteral("The library to load."),
                                           QStringLiteral("path"), QStringLiteral(NIMBLA_AUTH_LIBRARY));
    const QCommandLineOption clientOption(QStringLiteral("client"), QStringLiteral("The command-line client."),
                                          QStringLiteral("path"), QStringLiteral(NIMBLA_CLIENT));
    const QCommandLineOption loadLimitOption(QStringLiteral("load-limit-ms"),
                                             QStringLiteral("Exit with 1 when loading the library takes more CPU time."),
                                             QStringLiteral("ms"), QStringLiteral("5"));
    const QCommandLineOption memoryLimitOption(
            QStringLiteral("memory-limit-mb"),
            QStringLiteral("Exit with 1 when the client's peak resident memory exceeds the bare client's by more."),
            QStringLiteral("MB"), QStringLiteral("5"));
    parser.addOptions({runsOption, signInsOption, libraryOption, clientOption, loadLimitOption, memoryLimitOption});
    parser.process(app);
    const int runs = std::max(1, parser.value(runsOption).toInt());
    const int signIns = std::max(1, parser.value(signInsOption).toInt());
    const QString probe = QStringLiteral(NIMBLA_FOOTPRINT_PROBE);

    std::vector<Load> loads;
    if (!measureLoads(probe, {QStringLiteral(NIMBLA_REFERENCE_LIBRARY), parser.value(libraryOption)}, runs, &loads))
        return 2;
    const Load &reference = loads.at(0);
    const Load &library = loads.at(1);
    out() << "Loading into a process with QtCore and QtNetwork, median of " << runs << " processes:" << Qt::endl;
    out() << QStringLiteral("%1 %2 %3 %4 %5")
                     .arg("library", -24)
                     .arg("ms", 8)
                     .arg("CPU ms", 8)
                     .arg("threads", 8)
                     .arg("resident MB", 12)
          << Qt::endl;
    const auto loadRow = [](const QString &name, const Load &load) {
        out() << QStringLiteral("%1 %2 %3 %4 %5")
                         .arg(name, -24)
                         .arg(load.ms, 8, 'f', 2)
                         .arg(load.cpuMs, 8, 'f', 2)
                         .arg(load.threads, 8)
                         .arg(load.residentMb, 12, 'f', 1)
              << Qt::endl;
    };
    loadRow(QStringLiteral("QtXml (for scale)"), reference);
    loadRow(QStringLiteral("NimblaAuth"), library);
    const double loadLimitMs = parser.value(loadLimitOption).toDouble();
    out() << QStringLiteral("Loading NimblaAuth adds %1 ms of CPU time, %2 ms on the clock (goal: at most %3 ms).")
                     .arg(library.cpuMs, 0, 'f', 2)
                     .arg(library.ms, 0, 'f', 2)
                     .arg(loadLimitMs)
          << Qt::endl
          << Qt::endl;

    QTemporaryDir workspace;
    EmulatorProcess emulator;
    const QString configPath = workspace.filePath(QStringLiteral("launcher.json"));
    if (!emulator.start(QStringLiteral(NIMBLA_EMULATOR_PATH), configPath))
        return 2;
    loggedRequests(emulator); // the log starts empty for the first sign-in

    std::vector<long> clientKb;
    std::vector<long> bareKb;
    int requestCount = 0;
    for (int signIn = 0; signIn < signIns; ++signIn) {
        const QString data = workspace.filePath(QStringLiteral("data-%1").arg(signIn));
        const Outcome client = run(parser.value(clientOption),
                                   {QStringLiteral("--config"), configPath, QStringLiteral("--data"), data,
                                    QStringLiteral("login"), QStringLiteral("--method"), QStringLiteral("password"),
                                    QStringLiteral("--login"), QLatin1String(Login), QStringLiteral("--password-stdin")},
                                   QByteArray(Password) + '\n');
        const QJsonArray requests = loggedRequests(emulator);
        if (!client.exitedWithZero || requests.isEmpty()) {
            out() << "The client did not sign in:\n" << client.output << Qt::endl;
            return 2;
        }
        QFile log(workspace.filePath(QStringLiteral("requests.json")));
        if (!log.open(QIODevice::WriteOnly) || log.write(QJsonDocument(requests).toJson()) < 0)
            return 2;
        log.close();
        const Outcome bare = run(probe, {QStringLiteral("requests"), emulator.baseUrl().toString(), log.fileName()});
        if (!bare.exitedWithZero || signature(loggedRequests(emulator)) != signature(requests)) {
            out() << "The bare client did not send the client's requests" << Qt::endl;
            return 2;
        }
        clientKb.push_back(client.peakKb);
        bareKb.push_back(bare.peakKb);
        requestCount = requests.size();
    }
    const auto mb = [](long kb) { return double(kb) * 1024 / 1e6; };
    const double addedMb = mb(median(clientKb)) - mb(median(bareKb));
    out() << "Peak resident memory of a password sign-in against the emulator, median of " << signIns
          << " sign-ins:" << Qt::endl;
    out() << QStringLiteral("%1 %2").arg("process", -40).arg("MB", 8) << Qt::endl;
    out() << QStringLiteral("%1 %2").arg(QStringLiteral("bare Qt client, the same %1 requests").arg(requestCount), -40)
                     .arg(mb(median(bareKb)), 8, 'f', 1)
          << Qt::endl;
    out() << QStringLiteral("%1 %2").arg("nimbla-auth", -40).arg(mb(median(clientKb)), 8, 'f', 1) << Qt::endl;
    const double memoryLimitMb = parser.value(memoryLimitOption).toDouble();
    out() << QStringLiteral("nimbla-auth adds %1 MB (goal: at most %2 MB).").arg(addedMb, 0, 'f', 1).arg(memoryLimitMb)
          << Qt::endl;
    // Loading starts no thread: the library's threads start when the application first uses what needs them.
    return library.cpuMs <= loadLimitMs && library.threads == 0 && addedMb <= memoryLimitMb ? 0 : 1;
}
