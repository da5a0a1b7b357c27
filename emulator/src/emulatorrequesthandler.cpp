#include "emulatorrequesthandler.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/String.h>

#include <istream>

namespace NimblaEmulator {

namespace {

bool isAdminPath(const std::string& path)
{
    return path == "/admin" || path.compare(0, 7, "/admin/") == 0;
}

// Reads at most limit + 1 bytes, so an oversized body is recognised without
// holding all of it.
std::string readBody(std::istream& in, std::size_t limit, bool& tooLarge)
{
    std::string body;
    char buffer[8192];
    while (in && body.size() <= limit)
    {
        in.read(buffer, sizeof buffer);
        body.append(buffer, static_cast<std::size_t>(in.gcount()));
    }
    tooLarge = body.size() > limit;
    if (tooLarge)
        body.resize(limit);
    return body;
}

} // namespace

HttpExchange::BodyWriter EmulatorRequestHandler::trickle(int intervalMs) const
{
    FaultInjector& faults = _context.faults();
    return [&faults, intervalMs](std::ostream& out, const std::string& body) {
        // The headers wait in the stream's buffer until pushed out.
        out.flush();
        for (const char byte : body)
        {
            if (!out || !faults.delay(intervalMs))
                return;
            out.put(byte);
            out.flush();
        }
    };
}

HttpExchange::BodyWriter EmulatorRequestHandler::cutAfterAThird(HttpExchange& exchange)
{
    return [&exchange](std::ostream& out, const std::string& body) {
        out.write(body.data(), static_cast<std::streamsize>(body.size() / 3));
        out.flush();
        exchange.cutConnection();
    };
}

EmulatorRequestHandler::EmulatorRequestHandler(const Router& router, const EmulatorContext& context)
    : _router(router)
    , _context(context)
{
}

void EmulatorRequestHandler::handleRequest(Poco::Net::HTTPServerRequest& request,
                                           Poco::Net::HTTPServerResponse& response)
{
    bool tooLarge = false;
    std::string body;
    if (request.hasContentLength() && request.getContentLength64() > static_cast<Poco::Int64>(MaxBodyBytes))
        tooLarge = true;
    else
        body = readBody(request.stream(), MaxBodyBytes, tooLarge);

    HttpExchange exchange(request, response, std::move(body));
    try
    {
        serve(exchange, tooLarge);
    }
    catch (const std::exception& e)
    {
        if (!exchange.answered())
            exchange.sendError(500, std::string("Emulator failure: ") + e.what());
    }
}

void EmulatorRequestHandler::serve(HttpExchange& exchange, bool bodyTooLarge)
{
    if (!isAdminPath(exchange.path()))
        record(exchange);
    if (bodyTooLarge)
    {
        // The rest of the body is still in the connection; do not reuse it.
        exchange.closeConnectionAfterAnswer();
        exchange.sendError(413, "Request body exceeds " + std::to_string(MaxBodyBytes) + " bytes");
        return;
    }
    if (!isAdminPath(exchange.path()) && applyFault(exchange))
        return;
    _router.dispatch(exchange);
}

void EmulatorRequestHandler::record(const HttpExchange& exchange) const
{
    RequestLog::Entry entry;
    entry.method = exchange.method();
    entry.path = exchange.path();
    entry.query = exchange.rawQuery();
    for (const char* name : {"Authorization", "Content-Type", "Accept", "User-Agent"})
    {
        const std::string value = exchange.header(name);
        if (!value.empty())
            entry.headers.emplace_back(Poco::toLower(std::string(name)), value);
    }
    entry.body = exchange.body();
    _context.requests().add(std::move(entry));
}

bool EmulatorRequestHandler::applyFault(HttpExchange& exchange) const
{
    const std::optional<FaultInjector::Fault> fault = _context.faults().take(exchange.path());
    if (!fault)
        return false;
    if (fault->delayMs > 0)
        _context.faults().delay(fault->delayMs);
    if (fault->drop)
    {
        exchange.drop();
        return true;
    }
    if (fault->trickleMs > 0)
        exchange.setBodyWriter(trickle(fault->trickleMs));
    else if (fault->cutBody)
        exchange.setBodyWriter(cutAfterAThird(exchange));
    if (fault->status != 0)
    {
        exchange.sendRaw(fault->status, fault->contentType, fault->body);
        return true;
    }
    return false;
}

} // namespace NimblaEmulator
