#pragma once

#include "server/ihandlerfactory.h"

namespace NimblaSDK {

//! Serves the OAuth2 redirect that carries a code and the state: GET /?code=<code>&state=<state>.
class HandlerOAuthFactory : public IHandlerFactory
{
    Q_OBJECT

public:
    HandlerOAuthFactory();

    Poco::Net::HTTPRequestHandler *createRequestHandler(const Poco::Net::HTTPServerRequest &request) override;
};

} // namespace NimblaSDK
