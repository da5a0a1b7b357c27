#include "httpapirequest.h"

#include "nnetworkaccessmanager.h"

#include <QNetworkReply>

namespace NimblaSDK {

HttpApiRequest::HttpApiRequest(QNetworkReply *reply, QObject *parent)
    : QObject(parent)
    , m_reply(reply)
{
    m_reply->setParent(this);
    connect(m_reply, &QNetworkReply::finished, this, &HttpApiRequest::onReplyFinished);
}

bool HttpApiRequest::noErrors() const
{
    return m_networkError == QNetworkReply::NoError && m_statusCode < 400;
}

int HttpApiRequest::httpStatusCode() const
{
    return m_statusCode;
}

QString HttpApiRequest::httpReasonPhrase() const
{
    return m_reasonPhrase;
}

QString HttpApiRequest::errorString() const
{
    return m_errorString;
}

void HttpApiRequest::onReplyFinished()
{
    m_networkError = m_reply->error();
    m_statusCode = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    m_reasonPhrase = m_reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString();
    m_errorString = m_reply->errorString();
    // An aborted reply (time-out, dropped connection) is closed and has nothing to read.
    QByteArray body = m_reply->isOpen() ? m_reply->readAll() : QByteArray();
    if (m_networkError == QNetworkReply::NoError && !NNetworkAccessManager::isComplete(m_reply, body)) {
        // A cut answer is no answer: a token check must not read a part of one as a verdict.
        m_networkError = QNetworkReply::RemoteHostClosedError;
        m_errorString = QStringLiteral("Connection closed");
        body.clear();
    }
    m_reply->deleteLater();
    Q_EMIT finished(body);
}

} // namespace NimblaSDK
