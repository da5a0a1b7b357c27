#include "handlerfactory.h"

#include "server/callbackprotocol_p.h"
#include "server/notfoundrequesthandler.h"
#include "server/requesthandler.h"

namespace NimblaSDK {

HandlerFactory::HandlerFactory() = default;

Poco::Net::HTTPRequestHandler *HandlerFactory::createRequestHandler(const Poco::Net::HTTPServerRequest &request)
{
    if (!isCallbackPath(request))
        return new NotFoundRequestHandler;

    // Made on the worker thread, so both connections are queued to this factory's thread.
    auto *handler = new RequestHandler(nullptr);
    connect(handler, &RequestHandler::getJWTsuccess, this, [this](const QString &jwt) {
        Q_EMIT callbackSuccess(jwt, QString());
    });
    connect(handler, &RequestHandler::getJWTfailed, this, &IHandlerFactory::callbackError);
    return handler;
}

} // namespace NimblaSDK
