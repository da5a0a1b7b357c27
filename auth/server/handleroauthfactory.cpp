#include "handleroauthfactory.h"

#include "server/callbackprotocol_p.h"
#include "server/notfoundrequesthandler.h"
#include "server/requestoauthhandler.h"

namespace NimblaSDK {

HandlerOAuthFactory::HandlerOAuthFactory() = default;

Poco::Net::HTTPRequestHandler *HandlerOAuthFactory::createRequestHandler(const Poco::Net::HTTPServerRequest &request)
{
    if (!isCallbackPath(request))
        return new NotFoundRequestHandler;

    // Made on the worker thread, so both connections are queued to this factory's thread.
    auto *handler = new RequestOAuthHandler(nullptr);
    connect(handler, &RequestOAuthHandler::callbackSuccess, this, &IHandlerFactory::callbackSuccess);
    connect(handler, &RequestOAuthHandler::callbackError, this, &IHandlerFactory::callbackError);
    return handler;
}

} // namespace NimblaSDK
