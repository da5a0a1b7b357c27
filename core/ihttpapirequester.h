#pragma once

#include "nimblacore_export.h"

#include <QByteArray>
#include <QNetworkRequest>
#include <QString>
#include <QVariantMap>

class QUrl;

namespace NimblaSDK {

class HttpApiRequest;

namespace HttpApi {
enum Method { Get, Post, Patch };
}

//! The verbs of an HTTP API client; see HttpApiRequester.
class NIMBLACORE_EXPORT IHttpApiRequester
{
public:
    virtual ~IHttpApiRequester();

    virtual HttpApiRequest *get(const QUrl &url) = 0;
    virtual HttpApiRequest *post(const QUrl &url, const QByteArray &body, const QString &contentType) = 0;
    virtual HttpApiRequest *patch(const QUrl &url, const QByteArray &body, const QString &contentType) = 0;
    virtual HttpApiRequest *exec(HttpApi::Method method, const QUrl &url, const QByteArray &body,
                                 const QString &contentType) = 0;
    virtual void authorized(const QVariantMap &authorization) = 0;
    virtual void authorizationError(const QString &reason) = 0;

protected:
    virtual QNetworkRequest createRequest(const QUrl &url, const QString &contentType) = 0;
    virtual void bind(HttpApiRequest *request) = 0;
};

} // namespace NimblaSDK
