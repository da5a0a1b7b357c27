#pragma once

#include "emulatorcontext.h"
#include "router.h"

#include <Poco/Net/HTTPRequestHandlerFactory.h>

namespace NimblaEmulator {

class RequestHandlerFactory : public Poco::Net::HTTPRequestHandlerFactory
{
public:
    RequestHandlerFactory(const Router& router, const EmulatorContext& context);

    Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::Net::HTTPServerRequest& request) override;

private:
    const Router& _router;
    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
