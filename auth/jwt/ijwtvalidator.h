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
    void valid();
    void invalid();

public Q_SLOTS:
    virtual void validate(const QString &jwt) = 0;
};

} // namespace NimblaSDK
