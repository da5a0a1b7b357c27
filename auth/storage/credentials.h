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

//! The record stored under \a target; all fields empty when there is none or the vault cannot be read.
CredentialRecord readCredential(const QString &target);
//! Stores \a record under its target, replacing any earlier one; false (with warnings) when the vault refuses.
bool writeCredential(const CredentialRecord &record);
//! Removes the record under \a target; false when there was none or the vault refused.
bool deleteCredential(const QString &target);

} // namespace NimblaSDK
