#include "notfoundrequesthandler.h"

#include <Poco/Net/HTTPServerResponse.h>

#include <ostream>

namespace NimblaSDK {

void NotFoundRequestHandler::handleRequest(Poco::Net::HTTPServerRequest &, Poco::Net::HTTPServerResponse &response)
{
    // No length and no type on purpose: the body ends with the connection.
    // setStatus() alone would keep the default reason, "OK".
    response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_NOT_FOUND);
    response.send() << "Not Found Url";
}

} // namespace NimblaSDK
