#include "servicereply_p.h"

#include <QJsonDocument>

namespace NimblaSDK {

ServiceReply::ServiceReply(QNetworkReply *reply)
    : m_httpStatus(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt())
    , m_networkError(reply->error())
    , m_errorString(reply->errorString())
    // An aborted reply (deadline, dropped connection) is closed and has no body to read.
    , m_body(reply->isOpen() ? reply->readAll() : QByteArray())
    , m_answer(QJsonDocument::fromJson(m_body).object())
    , m_serviceDescription(m_answer.value(QStringLiteral("error")).toObject().value(QStringLiteral("description")).toString())
{
    if (m_networkError == QNetworkReply::NoError)
        m_outcome = Answered;
    else if (m_networkError == QNetworkReply::AuthenticationRequiredError)
        m_outcome = Unauthorized;
    else if (hasServiceError())
        m_outcome = Refused;
    else
        m_outcome = NetworkError;
}

bool ServiceReply::hasServiceError() const
{
    return m_answer.contains(QStringLiteral("error"));
}

} // namespace NimblaSDK
