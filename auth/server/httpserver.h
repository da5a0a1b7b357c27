#pragma once

#include "server/ihandlerfactory.h"
#include "server/ihttpserver.h"
#include "server/retiredfactories.h"

#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>

#include <QLoggingCategory>

#include <memory>
#include <type_traits>

namespace NimblaSDK {

/*!
 * The local callback listener, serving the protocol of \a Factory:
 * HttpServer<HandlerFactory> for JSON Web Token redirects and
 * HttpServer<HandlerOAuthFactory> for OAuth2 code redirects.
 *
 * Every start() opens a fresh listener on a port that the operating system
 * picks, with a fresh factory; results of requests still in flight on a
 * replaced listener are discarded with it.
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
        _release();
    }

    void start() override
    {
        if (m_started) {
            qCInfo(m_logC) << "Can't start local server. It's already started on port" << m_boundPort;
            return;
        }

        auto *factory = new Factory;
        // Owned from here on, so that a socket that cannot be opened does not leak it.
        const Poco::Net::HTTPRequestHandlerFactory::Ptr ownedFactory(factory);
        connect(factory, &IHandlerFactory::callbackSuccess, this, &IHttpServer::callbackSuccess);
        connect(factory, &IHandlerFactory::callbackError, this, &IHttpServer::callbackError);

        // Deliberately the loopback interface only: the redirect comes from a
        // browser on this machine, and nobody else has anything to send here.
        Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", m_requestedPort));
        auto server = std::make_shared<Poco::Net::HTTPServer>(ownedFactory, socket, new Poco::Net::HTTPServerParams);

        _release();
        m_server = std::move(server);
        m_factory = ownedFactory;
        m_factoryObject = factory;
        m_socket = socket;
        m_boundPort = socket.address().port();

        qCInfo(m_logC) << "Starting local server on port:" << m_boundPort;
        m_server->start();
        m_started = true;
    }

    void stop() override
    {
        if (!m_started) {
            qCInfo(m_logC) << "Can't stop local server. Server does not started";
            return;
        }
        qCInfo(m_logC) << "Shutting down local server";
        _shutDown();
    }

    int port() override
    {
        return m_server ? m_boundPort : m_requestedPort;
    }

private:
    void _shutDown()
    {
        // Answers of requests still in flight belong to an attempt that is over.
        QObject::disconnect(m_factoryObject, nullptr, this, nullptr);
        m_server->stopAll(true);
        // POCO keeps the socket listening until the server object goes, and a
        // stopped server must not accept connections that nobody will serve.
        m_socket.close();
        m_started = false;
    }

    void _release()
    {
        if (!m_server)
            return;
        QObject::disconnect(m_factoryObject, nullptr, this, nullptr);
        if (m_started)
            _shutDown();
        m_server.reset();
        m_factoryObject = nullptr;
        RetiredFactories::release(std::move(m_factory));
        m_factory = nullptr;
    }

    quint16 m_requestedPort = 0;
    bool m_started = false;
    std::shared_ptr<Poco::Net::HTTPServer> m_server;
    Poco::Net::HTTPRequestHandlerFactory::Ptr m_factory;
    IHandlerFactory *m_factoryObject = nullptr;
    Poco::Net::ServerSocket m_socket;
    quint16 m_boundPort = 0;
    QLoggingCategory m_logC{"HttpServer"};
};

} // namespace NimblaSDK
