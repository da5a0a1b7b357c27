#include "requesthandlerfactory.h"

#include "emulatorrequesthandler.h"

namespace NimblaEmulator {

RequestHandlerFactory::RequestHandlerFactory(const Router& router, const EmulatorContext& context)
    : _router(router)
    , _context(context)
{
}

Poco::Net::HTTPRequestHandler* RequestHandlerFactory::createRequestHandler(const Poco::Net::HTTPServerRequest&)
{
    return new EmulatorRequestHandler(_router, _context);
}

} // namespace NimblaEmulator
