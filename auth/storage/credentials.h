#pragma once

#include <QString>

namespace NimblaSDK {

//! One entry of the user's credential vault.
struct CredentialRecord
{
    QString target;
    QString userName;
    QString secret;
};

/*!
 * The vault is reached from one background thread, in the order of the calls.
 * The reading and writing functions wait for their outcome; the queued ones
 * return at once and report a refusal with the same warnings later.
 *
 * \code
 * NimblaSDK::queueCredentialWrite({account, login, password});
 * // Answered from the queued write, without waiting for the vault:
 * const NimblaSDK::CredentialRecord saved = NimblaSDK::readCredential(account);
 * \endcode
 */

//! Starts reaching the vault in the background, so that the first call finds it ready; returns at once.
//! Nothing of the vault runs before the first call of this or of any function below.
void prepareCredentials();
//! The record stored under \a target; all fields empty when there is none or the vault cannot be read.
CredentialRecord readCredential(const QString &target);
//! Stores \a record under its target, replacing any earlier one; false (with warnings) when the vault refuses.
bool writeCredential(const CredentialRecord &record);
//! Removes the record under \a target; false when there was none or the vault refused.
bool deleteCredential(const QString &target);

//! Stores \a record later, off the calling thread; a refusal gives the warnings of writeCredential().
void queueCredentialWrite(const CredentialRecord &record);
//! Removes the record under \a target later, off the calling thread.
void queueCredentialRemoval(const QString &target);

} // namespace NimblaSDK
