#include "credentials.h"

#include "credentialvault_p.h"

namespace NimblaSDK {

void prepareCredentials()
{
    CredentialVault::instance();
}

CredentialRecord readCredential(const QString &target)
{
    return CredentialVault::instance().read(target);
}

bool writeCredential(const CredentialRecord &record)
{
    return CredentialVault::instance().write(record);
}

bool deleteCredential(const QString &target)
{
    return CredentialVault::instance().remove(target);
}

void queueCredentialWrite(const CredentialRecord &record)
{
    CredentialVault::instance().queueWrite(record);
}

void queueCredentialRemoval(const QString &target)
{
    CredentialVault::instance().queueRemoval(target);
}

} // namespace NimblaSDK
