#pragma once

#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>

#include <string>

namespace NimblaSDK {

// The redirect comes back to the root of the local address; the query plays no
// part in the choice, so /favicon.ico or /callback?token=... are not callbacks.
bool isCallbackPath(const Poco::Net::HTTPServerRequest &request);

// An accepted result sends the browser on to the configured page that tells
// the player the sign-in is over.
void redirectToCallbackPage(Poco::Net::HTTPServerResponse &response);

// A refused callback gets no answer at all. The connection is closed as soon
// as the handler returns instead of being held for the keep-alive time-out, so
// neither the browser nor the worker thread waits on it.
void closeWithoutAnswer(Poco::Net::HTTPServerResponse &response);

} // namespace NimblaSDK
