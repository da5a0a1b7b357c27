#pragma once

#include <Poco/Net/HTTPRequestHandlerFactory.h>

namespace NimblaSDK {

class IHandlerFactory;

/*!
 * What POCO holds instead of the handler factory itself.
 *
 * POCO shares its factory between the listener and every connection still
 * running, and the last of them to let go may be any worker thread, while the
 * factory is a QObject of the main thread that may be delivering a queued
 * result at that very moment. The forwarder owns the factory and, when POCO
 * drops it, has the factory deleted on the factory's own thread.
 *
 * Exported only so that the tests can drive the server directly.
 */
class HandlerFactoryForwarder : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    //! Takes ownership of \a factory, which must have no Qt parent.
    explicit HandlerFactoryForwarder(IHandlerFactory *factory);
    ~HandlerFactoryForwarder() override;

    Poco::Net::HTTPRequestHandler *createRequestHandler(const Poco::Net::HTTPServerRequest &request) override;

private:
    IHandlerFactory *const m_factory;
};

} // namespace NimblaSDK
