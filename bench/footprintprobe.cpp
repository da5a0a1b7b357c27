// The measured side of bench_footprint: a process with QtCore and QtNetwork
// and nothing of the library, as a launcher is before it loads NimblaAuth.
//
//   bench_footprint_probe load LIBRARY
//       loads LIBRARY, and prints the microseconds that dlopen() took, on the
//       clock and on the CPU, the threads that loading started and the
//       resident memory it added, in KiB.
//   bench_footprint_probe requests BASE-URL REQUESTS-JSON
//       sends, one after the other, the requests of the emulator's request
//       log (GET /admin/requests) to BASE-URL: a bare Qt client making the
//       requests of a sign-in.
#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>

#include <dlfcn.h>

namespace {

// A field of /proc/self/status ("Threads", "VmRSS"), as a number.
long statusField(const char *name)
{
    std::ifstream status("/proc/self/status");
    const std::string prefix = std::string(name) + ':';
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, prefix.size(), prefix) == 0)
            return std::stol(line.substr(prefix.size()));
    }
    return -1;
}

// On a busy machine the clock also counts the time other processes had the CPU; this does not.
long long cpuUs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<long long>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

int load(const char *library)
{
    const long threads = statusField("Threads");
    const long rssKb = statusField("VmRSS");
    const long long cpuStartUs = cpuUs();
    const auto start = std::chrono::steady_clock::now();
    // Lazy binding, as the dynamic loader binds a library that a launcher links.
    void *handle = dlopen(library, RTLD_LAZY | RTLD_GLOBAL);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    const long long cpuElapsedUs = cpuUs() - cpuStartUs;
    if (!handle) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    std::printf("%lld %lld %ld %ld\n",
                static_cast<long long>(std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count()),
                cpuElapsedUs, statusField("Threads") - threads, statusField("VmRSS") - rssKb);
    std::fflush(stdout);
    // No destructors: the measure is over, and the library may not expect to be unloaded.
    std::_Exit(0);
}

int replay(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QUrl base(QString::fromLocal8Bit(argv[2]));
    QFile file(QString::fromLocal8Bit(argv[3]));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "%s: %s\n", argv[3], qPrintable(file.errorString()));
        return 1;
    }
    QNetworkAccessManager network;
    const QJsonArray requests = QJsonDocument::fromJson(file.readAll()).array();
    for (const QJsonValue &value : requests) {
        const QJsonObject logged = value.toObject();
        QUrl url = base.resolved(QUrl(logged.value(QLatin1String("path")).toString()));
        url.setQuery(logged.value(QLatin1String("query")).toString(), QUrl::StrictMode);
        QNetworkRequest request(url);
        const QJsonObject headers = logged.value(QLatin1String("headers")).toObject();
        for (auto header = headers.begin(); header != headers.end(); ++header)
            request.setRawHeader(header.key().toLatin1(), header.value().toString().toUtf8());
        QNetworkReply *reply = network.sendCustomRequest(request, logged.value(QLatin1String("method")).toString().toLatin1(),
                                                         logged.value(QLatin1String("body")).toString().toUtf8());
        QEventLoop loop;
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
        // An answer with an HTTP error status is an answer: only a failed exchange fails the replay.
        if (reply->error() != QNetworkReply::NoError
            && !reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid()) {
            std::fprintf(stderr, "%s: %s\n", qPrintable(url.toString()), qPrintable(reply->errorString()));
            return 1;
        }
        delete reply;
    }
    return requests.isEmpty() ? 1 : 0;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 3 && std::strcmp(argv[1], "load") == 0)
        return load(argv[2]);
    if (argc == 4 && std::strcmp(argv[1], "requests") == 0)
        return replay(argc, argv);
    std::fprintf(stderr, "usage: %s load LIBRARY | requests BASE-URL REQUESTS-JSON\n", argv[0]);
    return 2;
}
