#pragma once

#include "emulatorcontext.h"
#include "router.h"

#include <Poco/Net/HTTPRequestHandler.h>

namespace NimblaEmulator {

// Every request passes here: the body is read with a size cap, service
// requests are logged and may meet an injected fault, then the router answers.
class EmulatorRequestHandler : public Poco::Net::HTTPRequestHandler
{
public:
    static constexpr std::size_t MaxBodyBytes = 1024 * 1024;

    EmulatorRequestHandler(const Router& router, const EmulatorContext& context);

    void handleRequest(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) override;

private:
    void serve(HttpExchange& exchange, bool bodyTooLarge);
    void record(const HttpExchange& exchange) const;
    // True when the fault answered (or dropped) the request itself.
    bool applyFault(HttpExchange& exchange) const;
    HttpExchange::BodyWriter trickle(int intervalMs) const;
    static HttpExchange::BodyWriter cutAfterAThird(HttpExchange& exchange);

    const Router& _router;
    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
