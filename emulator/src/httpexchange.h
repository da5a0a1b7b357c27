#pragma once

#include <Poco/Dynamic/Var.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>

#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace NimblaEmulator {

// One request with its already-read body, and the ways of answering it.
class HttpExchange
{
public:
    using QueryItems = std::vector<std::pair<std::string, std::string>>;
    // Writes a body whose full Content-Length has already been announced.
    using BodyWriter = std::function<void(std::ostream& out, const std::string& body)>;

    HttpExchange(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response, std::string body);

    const std::string& method() const;
    const std::string& path() const;
    const std::string& rawQuery() const;
    const QueryItems& queryItems() const;
    const std::string& body() const;
    // First occurrence wins, as with the library's own query handling.
    std::optional<std::string> query(const std::string& name) const;
    std::string header(const std::string& name) const;
    std::string bearerToken() const;

    void setPathParams(std::map<std::string, std::string> params);
    std::string pathParam(const std::string& name) const;

    // Sent with whatever answer follows.
    void setHeader(const std::string& name, const std::string& value);
    void sendJson(int status, const Poco::Dynamic::Var& json);
    // {"error": {"code": code, "description": description}}
    void sendError(int status, int code, const std::string& description);
    void sendError(int status, const std::string& description);
    void sendHtml(int status, const std::string& title, const std::string& message);
    void sendRaw(int status, const std::string& contentType, const std::string& body);
    void sendEmpty(int status);
    void redirect(const std::string& location);
    // Closes the connection without a response.
    void drop();
    void closeConnectionAfterAnswer();
    // Ends the connection after what has been sent so far, as a service that
    // goes away mid-answer does: the client sees a short body, then the close.
    void cutConnection();
    // Every body sent from now on goes through \a writer instead of at once.
    void setBodyWriter(BodyWriter writer);

    bool answered() const;

private:
    Poco::Net::HTTPServerRequest& _request;
    Poco::Net::HTTPServerResponse& _response;
    std::string _body;
    std::string _path;
    std::string _rawQuery;
    QueryItems _queryItems;
    std::map<std::string, std::string> _pathParams;
    BodyWriter _bodyWriter;
    bool _answered = false;
};

} // namespace NimblaEmulator
