#pragma once

#include <memory>

namespace Poco {
class ThreadPool;
namespace Net {
class HTTPServer;
}
} // namespace Poco

namespace NimblaSDK {

/*!
 * Shuts down and destroys listeners that are no longer wanted, off the main
 * thread.
 *
 * POCO's stopAll() joins the acceptor thread, which notices the stop only
 * when its 250 ms poll returns, and the launcher's interface must not wait
 * for that. Nothing of a retired listener is needed any more: its results are
 * already disconnected and its socket is already closed.
 *
 * The reaper's threads belong to the application and are joined when it is
 * destroyed, so no POCO thread of a listener outlives it. Joining a
 * listener's own thread pool waits for what its threads were given, the
 * requests still in flight among it; each is bounded by its own time-outs,
 * the token check's request deadline and POCO's ten seconds a request.
 *
 * Exported only so that the tests can drive the server directly.
 */
class ListenerReaper
{
public:
    //! Call on the main thread; without an application the shutdown runs at once.
    //! \a threads is the pool that \a server runs its connections on.
    static void retire(std::unique_ptr<Poco::Net::HTTPServer> server, std::unique_ptr<Poco::ThreadPool> threads);
};

} // namespace NimblaSDK
