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
    //! The code of the table above, for QML.
    Q_PROPERTY(int code MEMBER code)
    //! The message, for QML.
    Q_PROPERTY(QString message MEMBER message)

public:
    //! The code of the table above: 0 is success, anything else a failure.
    int code = 0;
    //! What went wrong, in English, for the log rather than the player: the service's status in words,
    //! then " Error description: " and the network error; "Publisher id is incorrect" for code 1.
    QString message;
};

} // namespace NimblaSDK

Q_DECLARE_METATYPE(NimblaSDK::UserAttributesError)
