#pragma once

#include "napplication.h"
#include "storage/credentials.h"

#include <QJsonObject>
#include <QString>

namespace NimblaSDK {

// What the two login-and-password sessions share: the saved account, kept
// under the application's account name, and the service's error text.
namespace PasswordLogin {

inline CredentialRecord savedAccount()
{
    return readCredential(NApplication::instance().appAccountName());
}

// A refused write is reported by the vault layer's own warnings; sign-in goes on regardless.
inline void saveAccount(const QString &login, const QString &password)
{
    writeCredential({NApplication::instance().appAccountName(), login, password});
}

inline void forgetAccount()
{
    deleteCredential(NApplication::instance().appAccountName());
}

// The service explains a refusal as {"error": {"description": ...}}.
inline QString errorDescription(const QJsonObject &reply)
{
    return reply.value(QStringLiteral("error")).toObject().value(QStringLiteral("description")).toString();
}

} // namespace PasswordLogin

} // namespace NimblaSDK
