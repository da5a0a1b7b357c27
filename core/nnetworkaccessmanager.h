#pragma once

#include "nimblacore_export.h"

class QByteArray;
class QNetworkAccessManager;
class QNetworkReply;

namespace NimblaSDK {

/*!
 * Network access managers of the application: the one place where the
 * library's requests are made.
 *
 * The main thread shares one manager; every other thread gets a manager of
 * its own, since a QNetworkAccessManager may only be used on its thread (the
 * local callback server validates tokens from its worker threads).
 *
 * Requests behave the same on Qt 5 and Qt 6: they speak HTTP/1.1, and
 * redirects are never followed (a 3xx answer finishes the reply with its
 * status and its "Location" header, for the caller to read).
 *
 * Every request made on these managers, whoever makes it, gets two rules from
 * the configuration:
 * - a deadline of network.requestTimeoutMs for the whole request, from
 *   sending to the last byte of the answer. When it passes, the reply is
 *   aborted and finishes with QNetworkReply::OperationCanceledError, as for a
 *   service that does not answer at all;
 * - the TLS policy: with network.strictTls on (the default) every TLS error
 *   fails the request; off, GET requests ignore TLS errors and other requests
 *   do not. The tolerated GETs go over connections of their own, which no
 *   other request reuses.
 *
 * \code
 * QNetworkReply *reply = NNetworkAccessManager::getManager()->get(QNetworkRequest(url));
 * connect(reply, &QNetworkReply::finished, this, [reply] { ... reply->deleteLater(); });
 * \endcode
 */
class NIMBLACORE_EXPORT NNetworkAccessManager
{
public:
    //! The manager of the calling thread, made at its first use there; never null. The library owns it: do not
    //! delete it.
    static QNetworkAccessManager *getManager();

    /*!
     * Whether \a body, all that was read of the finished \a reply, is as long
     * as the reply's Content-Length announced. When the service closes the
     * connection mid-body, Qt may finish the reply without an error, and the
     * part that came would pass for the whole answer; a reply that fails this
     * check is a dropped connection, whatever QNetworkReply::error() says.
     */
    static bool isComplete(const QNetworkReply *reply, const QByteArray &body);
};

} // namespace NimblaSDK
