#include "servicereply_p.h"

#include "nnetworkaccessmanager.h"

#include <QJsonDocument>

namespace NimblaSDK {

namespace {

// The login service nests its words, {"error": {"description": ...}}; a
// standard OAuth2 server names the error with a string and may explain it
// beside it, {"error": "invalid_grant", "error_description": ...}.
QString describe(const QJsonObject &answer)
{
    const QJsonValue error = answer.value(QStringLiteral("error"));
    if (!error.isString())
        return error.toObject().value(QStringLiteral("description")).toString();
    const QString description = answer.value(QStringLiteral("error_description")).toString();
    return description.isEmpty() ? error.toString() : description;
}

} // namespace

ServiceReply::ServiceReply(QNetworkReply *reply)
    : m_httpStatus(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt())
    , m_networkError(reply->error())
    , m_errorString(reply->errorString())
    // An aborted reply (deadline, dropped connection) is closed and has no body to read.
    , m_body(reply->isOpen() ? reply->readAll() : QByteArray())
{
    if (m_networkError == QNetworkReply::NoError && !NNetworkAccessManager::isComplete(reply, m_body)) {
        // Told as Qt tells the same cut when it notices it; what came of the body is no answer.
        m_networkError = QNetworkReply::RemoteHostClosedError;
        m_errorString = QStringLiteral("Connection closed");
        m_body.clear();
    }
    m_answer = QJsonDocument::fromJson(m_body).object();
    m_serviceDescription = describe(m_answer);
    if (m_networkError == QNetworkReply::NoError)
        m_outcome = Answered;
    else if (m_networkError == QNetworkReply::AuthenticationRequiredError)
        m_outcome = Unauthorized;
    else if (hasServiceError())
        m_outcome = Refused;
    else
        m_outcome = NetworkError;
}

bool ServiceReply::transient() const
{
    // Qt numbers its errors by layer: below 200 the connection and its proxy, from 400 the server
    // itself; the layers between are the service's answer to the request.
    return (m_networkError > QNetworkReply::NoError && m_networkError < QNetworkReply::ContentAccessDenied)
           || m_networkError >= QNetworkReply::InternalServerError;
}

bool ServiceReply::hasServiceError() const
{
    return m_answer.contains(QStringLiteral("error"));
}

} // namespace NimblaSDK
