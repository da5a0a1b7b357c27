#include "credentials_p.h"

#include "authlogging_p.h"
#include "wincredentialvault.h"

#include <QDebug>

#include <cwchar>

namespace NimblaSDK {

namespace CredentialBackend {

// The Credential Manager is a local service with no connection to prepare, and its
// calls take no deadline: the operating system bounds them itself.
void prepare()
{
}

std::optional<CredentialRecord> read(const QString &target, Deadline)
{
    WinCredentialVault::Credential credential;
    const WinCredentialVault::Outcome outcome = WinCredentialVault::read(target.toStdWString(), &credential);
    if (!outcome.ok()) {
        if (outcome.status != WinCredentialVault::Status::NotFound)
            qCWarning(lcCredentials).noquote() << "Cannot read the credential" << target << "- code" << outcome.code
                                               << QString::fromStdWString(outcome.message);
        return std::nullopt;
    }
    return CredentialRecord{target, QString::fromStdWString(credential.userName),
                            QString::fromStdWString(credential.secret)};
}

bool write(const CredentialRecord &record, Deadline)
{
    const WinCredentialVault::Credential credential{record.userName.toStdWString(), record.secret.toStdWString()};
    const WinCredentialVault::Outcome outcome = WinCredentialVault::write(record.target.toStdWString(), credential);
    if (outcome.ok())
        return true;

    if (outcome.status == WinCredentialVault::Status::TooLarge)
        qCWarning(lcCredentials).noquote() << "Cannot write the credential" << record.target << "-"
                                           << QString::fromStdWString(outcome.message);
    qWarning().noquote().nospace() << "Error while saving credentials: code " << unsigned(outcome.code);
    qWarning().noquote().nospace() << "Error while saving credentials: " << QString::fromStdWString(outcome.message);
    return false;
}

bool remove(const QString &target, Deadline)
{
    const WinCredentialVault::Outcome outcome = WinCredentialVault::remove(target.toStdWString());
    if (!outcome.ok() && outcome.status != WinCredentialVault::Status::NotFound)
        qCWarning(lcCredentials).noquote() << "Cannot delete the credential" << target << "- code" << outcome.code
                                           << QString::fromStdWString(outcome.message);
    return outcome.ok();
}

void printReadTrace()
{
    std::wprintf(L"All right!\n");
    std::fflush(stdout);
}

} // namespace CredentialBackend

} // namespace NimblaSDK
