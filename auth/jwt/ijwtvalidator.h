#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <QObject>

namespace NimblaSDK {

//! A check of a JWT whose answer comes as valid() or invalid().
class NIMBLAAUTH_EXPORT IJwtValidator : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

Q_SIGNALS:
    //! The token passed the check of the last validate().
    void valid();
    //! The token failed the check of the last validate(), or could not be checked.
    void invalid();

public Q_SLOTS:
    //! Checks \a jwt; answers later, or at once, with exactly one valid() or invalid().
    virtual void validate(const QString &jwt) = 0;
};

} // namespace NimblaSDK
