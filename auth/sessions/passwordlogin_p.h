#pragma once

#include "napplication.h"
#include "storage/credentials.h"

#include <QString>

namespace NimblaSDK {

// The saved account of the two login-and-password sessions, kept under the
// application's account name.
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

} // namespace PasswordLogin

} // namespace NimblaSDK
