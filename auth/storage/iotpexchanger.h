#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <QJsonObject>
#include <QObject>
#include <QString>

namespace NimblaSDK {

//! Trades a one-time password for a credential; each exchange() ends in exactly one exchanged() or error().
class NIMBLAAUTH_EXPORT IOtpExchanger : public QObject
{
    Q_OBJECT

public:
    enum CredentialType { JwtToken = 0, OAuth2 = 1 };
    Q_ENUM(CredentialType)

    using QObject::QObject;

Q_SIGNALS:
    //! \a value is the service's whole answer: {"jwt": ...} for JwtToken, the token pair for OAuth2.
    void exchanged(NimblaSDK::IOtpExchanger::CredentialType credentialType, QJsonObject value);
    void error();

public Q_SLOTS:
    virtual void exchange(QString otp) = 0;
};

} // namespace NimblaSDK
