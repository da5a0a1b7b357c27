#include "requestoauthhandler.h"

#include "server/callbackprotocol_p.h"

#include <Poco/URI.h>

#include <algorithm>

namespace NimblaSDK {

RequestOAuthHandler::RequestOAuthHandler(QObject *parent)
    : QObject(parent)
{
}

void RequestOAuthHandler::handleRequest(Poco::Net::HTTPServerRequest &request, Poco::Net::HTTPServerResponse &response)
{
    const Poco::URI::QueryParameters parameters = Poco::URI(request.getURI()).getQueryParameters();
    const auto first = [&parameters](const char *name) {
        return std::find_if(parameters.begin(), parameters.end(),
                            [name](const std::pair<std::string, std::string> &item) { return item.first == name; });
    };

    const auto code = first("code");
    const auto state = first("state");
    if (code == parameters.end() || state == parameters.end()) {
        closeWithoutAnswer(response);
        Q_EMIT callbackError();
        return;
    }

    redirectToCallbackPage(response);
    Q_EMIT callbackSuccess(QString::fromStdString(code->second), QString::fromStdString(state->second));
}

} // namespace NimblaSDK
