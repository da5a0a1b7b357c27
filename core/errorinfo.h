#pragma once

#include <QMap>
#include <QString>

namespace NimblaSDK {

//! One error report for the error logger.
struct ErrorInfo
{
    QString message;               //!< a short title
    QString details;               //!< the technical text
    QMap<QString, QString> extra;  //!< optional context, such as "request_url"
    QString area;                  //!< the reporting subsystem, "authorization" for sign-in
};

} // namespace NimblaSDK
