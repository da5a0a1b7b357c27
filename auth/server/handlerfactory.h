#pragma once

#include "server/ihandlerfactory.h"

namespace NimblaSDK {

//! Serves the redirect that carries a finished JSON Web Token: GET /?token=<jwt>.
class HandlerFactory : public IHandlerFactory
{
    Q_OBJECT

public:
    HandlerFactory();

    Poco::Net::HTTPRequestHandler *createRequestHandler(const Poco::Net::HTTPServerRequest &request) override;
};

} // namespace NimblaSDK
