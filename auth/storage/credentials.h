#pragma once

#include "nimblaauth_export.h"

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
NIMBLAAUTH_EXPORT CredentialRecord readCredential(const QString &target);
//! Stores \a record under its target, replacing any earlier one; false (with warnings) when the vault refuses.
NIMBLAAUTH_EXPORT bool writeCredential(const CredentialRecord &record);
//! Removes the record under \a target; false when there was none or the vault refused.
NIMBLAAUTH_EXPORT bool deleteCredential(const QString &target);

} // namespace NimblaSDK
