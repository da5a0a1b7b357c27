#pragma once

#include <Poco/Net/HTTPRequestHandlerFactory.h>

namespace NimblaSDK {

/*!
 * Lets go of the handler factory of a listener that is being replaced or
 * destroyed, on the main thread.
 *
 * POCO's worker threads keep the factory alive while their connections run,
 * and the last of them to finish would otherwise destroy it, a QObject of the
 * main thread, while the main thread may still be delivering that factory's
 * queued results. A factory that something else still holds is kept here and
 * released by a main-thread timer once it is the only reference left.
 */
class RetiredFactories
{
public:
    static void release(Poco::Net::HTTPRequestHandlerFactory::Ptr factory);
    //! Factories still waiting for POCO to let go of them.
    static int pending();
};

} // namespace NimblaSDK
