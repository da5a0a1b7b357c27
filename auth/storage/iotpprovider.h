#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <QObject>
#include <QString>

//! Where a one-time password left for the launcher is read from and removed.
class NIMBLAAUTH_EXPORT IOtpProvider : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    //! The stored one-time password, or an empty string when there is none.
    virtual QString read() = 0;
    //! Removes the stored password, which is good for one sign-in only; the next read() does not find it.
    virtual void remove() = 0;
};
