#pragma once

#include <Poco/Net/HTTPRequestHandler.h>

namespace NimblaSDK {

//! Answers every path of the local server other than the callback: 404 "Not Found Url".
class NotFoundRequestHandler : public Poco::Net::HTTPRequestHandler
{
public:
    void handleRequest(Poco::Net::HTTPServerRequest &request, Poco::Net::HTTPServerResponse &response) override;
};

} // namespace NimblaSDK
