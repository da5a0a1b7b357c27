#include "server/callbackprotocol_p.h"

#include "napplication.h"

#include <Poco/URI.h>

namespace NimblaSDK {

bool isCallbackPath(const Poco::Net::HTTPServerRequest &request)
{
    return Poco::URI(request.getURI()).getPath() == "/";
}

void redirectToCallbackPage(Poco::Net::HTTPServerResponse &response)
{
    response.redirect(NApplication::instance().configManager()->callbackUrl().toStdString(),
                      Poco::Net::HTTPResponse::HTTP_FOUND);
}

void closeWithoutAnswer(Poco::Net::HTTPServerResponse &response)
{
    response.setKeepAlive(false);
}

} // namespace NimblaSDK
