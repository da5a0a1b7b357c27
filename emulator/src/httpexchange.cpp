#include "httpexchange.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Stringifier.h>
#include <Poco/Net/HTTPServerRequestImpl.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/String.h>
#include <Poco/URI.h>

#include <ostream>
#include <sstream>

namespace NimblaEmulator {

namespace {

std::string escapeHtml(const std::string& text)
{
    std::string out;
    for (const char c : text)
    {
        switch (c)
        {
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '&': out += "&amp;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

} // namespace

HttpExchange::HttpExchange(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response,
                           std::string body)
    : _request(request)
    , _response(response)
    , _body(std::move(body))
{
    try
    {
        const Poco::URI uri(request.getURI());
        _path = uri.getPath();
        _rawQuery = uri.getRawQuery();
        _queryItems = uri.getQueryParameters();
    }
    catch (const Poco::Exception&)
    {
        // An unparsable target is served like an unknown path.
        _path = request.getURI();
        _rawQuery.clear();
        _queryItems.clear();
    }
}

const std::string& HttpExchange::method() const
{
    return _request.getMethod();
}

const std::string& HttpExchange::path() const
{
    return _path;
}

const std::string& HttpExchange::rawQuery() const
{
    return _rawQuery;
}

const HttpExchange::QueryItems& HttpExchange::queryItems() const
{
    return _queryItems;
}

const std::string& HttpExchange::body() const
{
    return _body;
}

std::optional<std::string> HttpExchange::query(const std::string& name) const
{
    for (const auto& item : _queryItems)
    {
        if (item.first == name)
            return item.second;
    }
    return std::nullopt;
}

std::string HttpExchange::header(const std::string& name) const
{
    return _request.get(name, std::string());
}

std::string HttpExchange::bearerToken() const
{
    const std::string authorization = Poco::trim(header("Authorization"));
    const std::string scheme = "bearer ";
    if (authorization.size() <= scheme.size() || Poco::icompare(authorization.substr(0, scheme.size()), scheme) != 0)
        return std::string();
    return Poco::trim(authorization.substr(scheme.size()));
}

void HttpExchange::setPathParams(std::map<std::string, std::string> params)
{
    _pathParams = std::move(params);
}

std::string HttpExchange::pathParam(const std::string& name) const
{
    const auto it = _pathParams.find(name);
    return it == _pathParams.end() ? std::string() : it->second;
}

void HttpExchange::setHeader(const std::string& name, const std::string& value)
{
    _response.set(name, value);
}

void HttpExchange::sendJson(int status, const Poco::Dynamic::Var& json)
{
    std::ostringstream text;
    Poco::JSON::Stringifier::condense(json, text);
    sendRaw(status, "application/json", text.str());
}

void HttpExchange::sendError(int status, int code, const std::string& description)
{
    Poco::JSON::Object::Ptr error = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
    error->set("code", code);
    error->set("description", description);
    Poco::JSON::Object::Ptr body = new Poco::JSON::Object;
    body->set("error", error);
    sendJson(status, body);
}

void HttpExchange::sendError(int status, const std::string& description)
{
    sendError(status, status, description);
}

void HttpExchange::sendHtml(int status, const std::string& title, const std::string& message)
{
    const std::string page = "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" + escapeHtml(title) +
                             "</title></head>\n<body><h1>" + escapeHtml(title) + "</h1>\n<p>" +
                             escapeHtml(message) + "</p></body></html>\n";
    sendRaw(status, "text/html; charset=utf-8", page);
}

void HttpExchange::sendRaw(int status, const std::string& contentType, const std::string& body)
{
    _answered = true;
    _response.setStatusAndReason(static_cast<Poco::Net::HTTPResponse::HTTPStatus>(status));
    if (!contentType.empty())
        _response.setContentType(contentType);
    _response.setContentLength(static_cast<std::streamsize>(body.size()));
    std::ostream& out = _response.send();
    if (_bodyWriter)
        _bodyWriter(out, body);
    else
        out << body;
}

void HttpExchange::sendEmpty(int status)
{
    _answered = true;
    _response.setStatusAndReason(static_cast<Poco::Net::HTTPResponse::HTTPStatus>(status));
    _response.setContentLength(0);
    _response.send();
}

void HttpExchange::redirect(const std::string& location)
{
    _answered = true;
    _response.set("Location", location);
    _response.setStatus(Poco::Net::HTTPResponse::HTTP_FOUND);
    _response.setContentLength(0);
    _response.send();
}

void HttpExchange::drop()
{
    _answered = true;
    _response.setKeepAlive(false);
    auto* impl = dynamic_cast<Poco::Net::HTTPServerRequestImpl*>(&_request);
    if (!impl)
        return;
    try
    {
        Poco::Net::StreamSocket& socket = impl->socket();
        socket.setLinger(true, 0);
        socket.shutdown();
    }
    catch (const Poco::Exception&)
    {
        // Already gone: that is all a drop wants.
    }
}

void HttpExchange::closeConnectionAfterAnswer()
{
    _response.setKeepAlive(false);
}

void HttpExchange::cutConnection()
{
    _response.setKeepAlive(false);
    auto* impl = dynamic_cast<Poco::Net::HTTPServerRequestImpl*>(&_request);
    if (!impl)
        return;
    try
    {
        // No zero linger here, unlike drop(): a reset could discard the part
        // of the body that the client has not read yet.
        impl->socket().shutdown();
    }
    catch (const Poco::Exception&)
    {
        // The client left first; the cut is made all the same.
    }
}

void HttpExchange::setBodyWriter(BodyWriter writer)
{
    _bodyWriter = std::move(writer);
}

bool HttpExchange::answered() const
{
    return _answered;
}

} // namespace NimblaEmulator
