#pragma once

#include "nimblacore_export.h"

#include "ihttpapirequester.h"

#include <QObject>

namespace NimblaSDK {

/*!
 * Client of the JSON APIs: sends requests on the thread's network access
 * manager and hands back one HttpApiRequest per call. The requester owns
 * the requests it has not been relieved of; the caller deletes each one when
 * done (usually with deleteLater() in its finished handler).
 *
 * \code
 * requester->authorized({{QStringLiteral("access_token"), jwt}});
 * HttpApiRequest *request = requester->post(url, body, QStringLiteral("application/json"));
 * connect(request, &HttpApiRequest::finished, this, [request](const QByteArray &data) {
 *     request->deleteLater();
 *     if (request->noErrors())
 *         use(data);
 * });
 * \endcode
 */
class NIMBLACORE_EXPORT HttpApiRequester : public QObject, public IHttpApiRequester
{
    Q_OBJECT

public:
    //! Creates a requester without authorisation; the requests it makes are its children until deleted.
    explicit HttpApiRequester(QObject *parent);

    //! Sends a GET to \a url.
    HttpApiRequest *get(const QUrl &url) override;
    //! Sends \a body to \a url as a POST of \a contentType.
    HttpApiRequest *post(const QUrl &url, const QByteArray &body, const QString &contentType) override;
    //! Sends \a body to \a url as a PATCH of \a contentType.
    HttpApiRequest *patch(const QUrl &url, const QByteArray &body, const QString &contentType) override;
    //! Sends a request of \a method; the other three call it. The request is never null: a failure comes as its
    //! finished() with noErrors() false.
    HttpApiRequest *exec(HttpApi::Method method, const QUrl &url, const QByteArray &body,
                         const QString &contentType) override;

    //! Requests that follow carry "Authorization: Bearer <access_token>" from \a authorization.
    void authorized(const QVariantMap &authorization) override;
    //! Called when the service refuses the authorisation of a request; emits authorizationFailed().
    void authorizationError(const QString &reason) override;

Q_SIGNALS:
    //! An authorised request was answered 401: the token has expired or was revoked; \a reason is the status's
    //! reason phrase. Sign in again, or refresh, and call authorized() with the new token.
    void authorizationFailed(const QString &reason);

protected:
    //! The request for \a url, with the content type and the bearer token.
    QNetworkRequest createRequest(const QUrl &url, const QString &contentType) override;
    //! Watches an authorised \a request for a 401, which calls authorizationError().
    void bind(HttpApiRequest *request) override;

private:
    QByteArray m_bearerToken;
};

} // namespace NimblaSDK
