#include "requesthandler.h"

#include "jwt/jwtchecker.h"
#include "server/callbackprotocol_p.h"

#include <Poco/Net/HTMLForm.h>

#include <optional>

namespace NimblaSDK {

namespace {

// The form matches names regardless of case; the protocol's names are
// case-sensitive, and the first occurrence wins.
std::optional<std::string> firstField(const Poco::Net::HTMLForm &form, const std::string &name)
{
    for (const auto &field : form) {
        if (field.first == name)
            return field.second;
    }
    return std::nullopt;
}

} // namespace

RequestHandler::RequestHandler(QObject *parent)
    : QObject(parent)
{
}

void RequestHandler::handleRequest(Poco::Net::HTTPServerRequest &request, Poco::Net::HTTPServerResponse &response)
{
    const Poco::Net::HTMLForm form(request);
    response.setStatus(Poco::Net::HTTPResponse::HTTP_OK);

    const std::optional<std::string> field = firstField(form, "token");
    if (!field) {
        closeWithoutAnswer(response);
        return;
    }

    const QString jwt = QString::fromStdString(*field);
    JWTchecker checker(nullptr);
    if (checker.validateJWT(jwt)) {
        redirectToCallbackPage(response);
        Q_EMIT getJWTsuccess(jwt);
    } else {
        closeWithoutAnswer(response);
        Q_EMIT getJWTfailed();
    }
}

} // namespace NimblaSDK
