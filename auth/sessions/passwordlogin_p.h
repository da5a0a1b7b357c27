#pragma once

#include "napplication.h"
#include "storage/credentials.h"

#include <QString>

namespace NimblaSDK {

// The saved account of the two login-and-password sessions and the PlayFab
// e-mail session, kept under the application's account name: one account,
// whichever form the player used last.
namespace PasswordLogin {

inline CredentialRecord savedAccount()
{
    return readCredential(NApplication::instance().appAccountName());
}

// Saved from the reply handler on the GUI thread, where waiting for the vault stalled the
// interface for 5 to 100 ms: the write is queued, and the next session's savedAccount()
// already reads it. A refused write is reported by the vault layer's own warnings;
// sign-in goes on regardless.
inline void saveAccount(const QString &login, const QString &password)
{
    queueCredentialWrite({NApplication::instance().appAccountName(), login, password});
}

inline void forgetAccount()
{
    queueCredentialRemoval(NApplication::instance().appAccountName());
}

} // namespace PasswordLogin

} // namespace NimblaSDK
