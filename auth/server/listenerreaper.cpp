#include "listenerreaper.h"

#include <Poco/Net/HTTPServer.h>
#include <Poco/ThreadPool.h>

#include <QCoreApplication>
#include <QPointer>
#include <QRunnable>
#include <QThreadPool>

namespace NimblaSDK {

namespace {

// Not the global pool: the launcher's own tasks there must not hold up a
// shutdown, nor a shutdown theirs. A shutdown that waits for a request in
// flight must not hold up the next one either, hence more than a core's worth.
constexpr int ReaperThreadCount = 8;

QThreadPool *reaperThreads()
{
    static QPointer<QThreadPool> pool;
    if (!pool) {
        pool = new QThreadPool(QCoreApplication::instance());
        pool->setObjectName(QStringLiteral("NimblaListenerReaper"));
        pool->setMaxThreadCount(ReaperThreadCount);
    }
    return pool;
}

struct RetiredListener
{
    // Declared first, so destroyed last: the server runs on it until then.
    std::unique_ptr<Poco::ThreadPool> threads;
    std::unique_ptr<Poco::Net::HTTPServer> server;

    void shutDown()
    {
        server->stopAll(true);
        // A connection accepted just before the stop has handed the server's dispatcher to a
        // pooled thread that may not have started it yet. Destroying the pool then would drop
        // that start, and with it the dispatcher's hold on itself, which is never let go: the
        // threads finish what they were given first.
        threads->joinAll();
        server.reset();
        threads.reset();
    }
};

} // namespace

void ListenerReaper::retire(std::unique_ptr<Poco::Net::HTTPServer> server, std::unique_ptr<Poco::ThreadPool> threads)
{
    if (!server)
        return;
    auto listener = std::make_shared<RetiredListener>(RetiredListener{std::move(threads), std::move(server)});
    if (!QCoreApplication::instance()) {
        listener->shutDown();
        return;
    }
    // The server goes on the reaper thread too, and with it POCO's share of the handler factory.
    reaperThreads()->start(QRunnable::create([listener = std::move(listener)] { listener->shutDown(); }));
}

} // namespace NimblaSDK
