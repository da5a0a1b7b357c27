#pragma once

#include "nimblacore_export.h"

class QNetworkAccessManager;
class QNetworkReply;

namespace NimblaSDK {

/*!
 * Network access managers of the application.
 *
 * The main thread shares one manager; every other thread gets a manager of
 * its own, since a QNetworkAccessManager may only be used on its thread (the
 * local callback server validates tokens from its worker threads). Every
 * manager aborts a request that transfers nothing for the configured request
 * time-out, so a service that never answers ends in a network error.
 */
class NIMBLACORE_EXPORT NNetworkAccessManager
{
public:
    static QNetworkAccessManager *getManager();

    //! Makes a reply ignore TLS errors, unless the configuration asks for strict TLS.
    static void ignoreSslErrors(QNetworkReply *reply);
};

} // namespace NimblaSDK
