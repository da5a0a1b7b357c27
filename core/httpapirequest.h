#pragma once

#include "nimblacore_export.h"

#include <QByteArray>
#include <QObject>
#include <QString>

class QNetworkReply;

namespace NimblaSDK {

/*!
 * One request in flight, made by HttpApiRequester. finished() comes exactly
 * once, on success and on failure alike; the network reply is released then.
 */
class NIMBLACORE_EXPORT HttpApiRequest : public QObject
{
    Q_OBJECT

public:
    //! Takes ownership of \a reply.
    explicit HttpApiRequest(QNetworkReply *reply, QObject *parent = nullptr);

    //! True when neither the transport nor the HTTP status (400 and above) reported an error.
    bool noErrors() const;
    //! The HTTP status once finished() came; 0 when no answer came.
    int httpStatusCode() const;
    //! The status's reason phrase once finished() came.
    QString httpReasonPhrase() const;
    //! The network error's text once finished() came; "Connection closed" for an answer cut short.
    QString errorString() const;

Q_SIGNALS:
    //! The request ended: \a data is the body, empty for an answer cut short or aborted. Check noErrors()
    //! before using it, and delete the request here.
    void finished(const QByteArray &data);

private:
    void onReplyFinished();

    QNetworkReply *m_reply;
    int m_networkError = 0;
    int m_statusCode = 0;
    QString m_reasonPhrase;
    QString m_errorString;
};

} // namespace NimblaSDK
