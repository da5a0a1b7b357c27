#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QNetworkReply>
#include <QString>

namespace NimblaSDK {

// The service's log parser expects the network error code appended as one
// character, not as digits.
inline QString withNetworkErrorCode(const QString &text, QNetworkReply::NetworkError code)
{
    return text + QChar(static_cast<int>(code));
}

// An aborted reply (time-out, dropped connection) is closed and has no body to read.
inline QByteArray replyBody(QNetworkReply *reply)
{
    return reply->isOpen() ? reply->readAll() : QByteArray();
}

// The service explains a refusal as {"error": {"description": ...}}.
inline QString errorDescription(const QJsonObject &answer)
{
    return answer.value(QStringLiteral("error")).toObject().value(QStringLiteral("description")).toString();
}

} // namespace NimblaSDK
