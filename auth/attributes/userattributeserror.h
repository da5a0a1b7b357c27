#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <QMetaType>
#include <QString>

namespace NimblaSDK {

/*!
 * The outcome of a UserAttributes request. A gadget, so that QML reads
 * error.code and error.message in a getFinished or updateFinished handler.
 *
 * | code | meaning |
 * |---|---|
 * | 0 | no error; the message is empty |
 * | 1 | the local check failed: no publisher id or no user id, nothing was sent |
 * | 2 | the request failed with another status, or without an answer |
 * | 3 | the service answered 403 |
 * | 4 | the service answered 422 |
 * | 5 | the service answered 429 |
 */
class NIMBLAAUTH_EXPORT UserAttributesError
{
    Q_GADGET
    Q_PROPERTY(int code MEMBER code)
    Q_PROPERTY(QString message MEMBER message)

public:
    int code = 0;
    QString message;
};

} // namespace NimblaSDK

Q_DECLARE_METATYPE(NimblaSDK::UserAttributesError)
