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
    explicit HttpApiRequester(QObject *parent);

    HttpApiRequest *get(const QUrl &url) override;
    HttpApiRequest *post(const QUrl &url, const QByteArray &body, const QString &contentType) override;
    HttpApiRequest *patch(const QUrl &url, const QByteArray &body, const QString &contentType) override;
    HttpApiRequest *exec(HttpApi::Method method, const QUrl &url, const QByteArray &body,
                         const QString &contentType) override;

    //! Requests that follow carry "Authorization: Bearer <access_token>" from \a authorization.
    void authorized(const QVariantMap &authorization) override;
    //! Called when the service refuses the authorisation of a request; emits authorizationFailed().
    void authorizationError(const QString &reason) override;

Q_SIGNALS:
    void authorizationFailed(const QString &reason);

protected:
    QNetworkRequest createRequest(const QUrl &url, const QString &contentType) override;
    void bind(HttpApiRequest *request) override;

private:
    QByteArray m_bearerToken;
};

} // namespace NimblaSDK
