#pragma once

#include "authlogging_p.h"
#include "server/handlerfactoryforwarder.h"
#include "server/ihandlerfactory.h"
#include "server/ihttpserver.h"
#include "server/listenerreaper.h"

#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/ThreadPool.h>

#include <memory>
#include <type_traits>

namespace NimblaSDK {

/*!
 * The local callback listener, serving the protocol of \a Factory:
 * HttpServer<HandlerFactory> for JSON Web Token redirects and
 * HttpServer<HandlerOAuthFactory> for OAuth2 code redirects.
 *
 * Every start() opens a fresh listener on a port that the operating system
 * picks, with a fresh factory. stop(), a new start() and the destructor
 * return at once: the old listener refuses connections from then on, its
 * results still in flight are dropped, and POCO's threads are shut down
 * behind the caller's back by the ListenerReaper.
 *
 * Not installed: it exposes POCO, a private dependency.
 */
template <class Factory>
class HttpServer : public IHttpServer
{
    static_assert(std::is_base_of<IHandlerFactory, Factory>::value, "the factory must derive from IHandlerFactory");

public:
    explicit HttpServer(QObject *parent)
        : IHttpServer(parent)
    {
    }

    ~HttpServer() override
    {
        _retire();
    }

    void start() override
    {
        if (m_started) {
            qCInfo(lcHttpServer) << "Can't start local server. It's already started on port" << m_boundPort;
            return;
        }

        auto *factory = new Factory;
        // Owned from here on, so that a socket that cannot be opened does not leak it.
        const Poco::Net::HTTPRequestHandlerFactory::Ptr forwarder(new HandlerFactoryForwarder(factory));
        connect(factory, &IHandlerFactory::callbackSuccess, this, &IHttpServer::callbackSuccess);
        connect(factory, &IHandlerFactory::callbackError, this, &IHttpServer::callbackError);

        // Deliberately the loopback interface only: the redirect comes from a
        // browser on this machine, and nobody else has anything to send here.
        Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", m_requestedPort));
        // Threads of its own rather than POCO's shared default pool: listeners
        // still being shut down keep their idle threads for a while, and a new
        // listener's connection would wait in its queue for a thread that
        // never comes.
        auto threads = std::make_unique<Poco::ThreadPool>(1, MaxConnectionThreads);
        Poco::Net::HTTPServerParams::Ptr params = new Poco::Net::HTTPServerParams;
        // POCO's dispatcher thread can begin to wait for work just after the
        // stop has woken every waiter; it then sleeps its whole idle time, and
        // the reaper, which joins the listener's threads, with it.
        params->setThreadIdleTime(Poco::Timespan(0, IdleThreadMs * 1000));
        auto server = std::make_unique<Poco::Net::HTTPServer>(forwarder, *threads, socket, params);

        _retire();
        m_threads = std::move(threads);
        m_server = std::move(server);
        m_factory = factory;
        m_socket = socket;
        m_boundPort = socket.address().port();

        qCInfo(lcHttpServer) << "Starting local server on port:" << m_boundPort;
        m_server->start();
        m_started = true;
    }

    void stop() override
    {
        if (!m_started) {
            qCInfo(lcHttpServer) << "Can't stop local server. Server does not started";
            return;
        }
        qCInfo(lcHttpServer) << "Shutting down local server";
        _retire();
    }

    //! After stop() still the port of the listener that was stopped.
    int port() override
    {
        return m_boundPort ? m_boundPort : m_requestedPort;
    }

private:
    void _retire()
    {
        if (!m_server)
            return;
        // Answers of requests still in flight belong to an attempt that is over.
        QObject::disconnect(m_factory, nullptr, this, nullptr);
        m_factory = nullptr;
        // Closed here rather than by the reaper, so that the listener refuses
        // connections from this moment on. POCO's acceptor finds the socket
        // closed at its next poll, which fails, until the reaper's stop ends it.
        m_socket.close();
        m_started = false;
        ListenerReaper::retire(std::move(m_server), std::move(m_threads));
    }

    static constexpr int MaxConnectionThreads = 16;
    static constexpr int IdleThreadMs = 500;

    quint16 m_requestedPort = 0;
    bool m_started = false;
    std::unique_ptr<Poco::ThreadPool> m_threads;
    std::unique_ptr<Poco::Net::HTTPServer> m_server;
    IHandlerFactory *m_factory = nullptr;
    Poco::Net::ServerSocket m_socket;
    quint16 m_boundPort = 0;
};

} // namespace NimblaSDK
