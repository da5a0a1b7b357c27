#pragma once

#include "nimblacore_export.h"

#include <QByteArray>
#include <QNetworkRequest>
#include <QString>
#include <QVariantMap>

class QUrl;

namespace NimblaSDK {

class HttpApiRequest;

//! The HTTP methods of the API client.
namespace HttpApi {
//! The methods that IHttpApiRequester::exec() sends.
enum Method { Get, Post, Patch };
}

//! The verbs of an HTTP API client; see HttpApiRequester.
class NIMBLACORE_EXPORT IHttpApiRequester
{
public:
    virtual ~IHttpApiRequester();

    //! Sends a GET to \a url; the request's finished() tells the outcome.
    virtual HttpApiRequest *get(const QUrl &url) = 0;
    //! Sends \a body to \a url as a POST of \a contentType.
    virtual HttpApiRequest *post(const QUrl &url, const QByteArray &body, const QString &contentType) = 0;
    //! Sends \a body to \a url as a PATCH of \a contentType.
    virtual HttpApiRequest *patch(const QUrl &url, const QByteArray &body, const QString &contentType) = 0;
    //! Sends a request of \a method.
    virtual HttpApiRequest *exec(HttpApi::Method method, const QUrl &url, const QByteArray &body,
                                 const QString &contentType) = 0;
    //! Authorises the requests that follow with the "access_token" of \a authorization.
    virtual void authorized(const QVariantMap &authorization) = 0;
    //! Told that the service refused the authorisation, for \a reason.
    virtual void authorizationError(const QString &reason) = 0;

protected:
    //! Builds the request that every verb sends.
    virtual QNetworkRequest createRequest(const QUrl &url, const QString &contentType) = 0;
    //! Attaches the requester's handling to each new \a request.
    virtual void bind(HttpApiRequest *request) = 0;
};

} // namespace NimblaSDK
