#pragma once

#include <QNetworkReply>
#include <QString>

namespace NimblaSDK {

// The service's log parser expects the network error code appended as one
// character, not as digits.
inline QString withNetworkErrorCode(const QString &text, QNetworkReply::NetworkError code)
{
    return text + QChar(static_cast<int>(code));
}

} // namespace NimblaSDK
