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
    //! What a one-time password was exchanged for: a ready JWT (JwtToken), or an OAuth2 access and refresh
    //! token pair (OAuth2).
    enum CredentialType { JwtToken = 0, OAuth2 = 1 };
    Q_ENUM(CredentialType)

    using QObject::QObject;

Q_SIGNALS:
    //! \a value is the service's whole answer: {"jwt": ...} for JwtToken, the token pair for OAuth2.
    void exchanged(NimblaSDK::IOtpExchanger::CredentialType credentialType, QJsonObject value);
    //! The exchange failed: the service refused the password or could not be reached, or answered with neither
    //! credential. The password is of no further use; show the sign-in form.
    void error();

public Q_SLOTS:
    //! Trades \a otp for a credential; exchanged() or error() answers.
    virtual void exchange(QString otp) = 0;
};

} // namespace NimblaSDK
