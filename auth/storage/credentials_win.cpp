#include "credentials.h"

#include "wincredentialvault.h"

#include <QDebug>
#include <QLoggingCategory>

#include <cwchar>

namespace NimblaSDK {

Q_LOGGING_CATEGORY(lcCredentials, "NimblaSDK.Auth.Credentials")

CredentialRecord readCredential(const QString &target)
{
    WinCredentialVault::Credential credential;
    const WinCredentialVault::Outcome outcome = WinCredentialVault::read(target.toStdWString(), &credential);
    if (!outcome.ok()) {
        if (outcome.status != WinCredentialVault::Status::NotFound)
            qCWarning(lcCredentials).noquote() << "Cannot read the credential" << target << "- code" << outcome.code
                                               << QString::fromStdWString(outcome.message);
        return {};
    }
    // Console trace that the launcher's support scripts look for.
    std::wprintf(L"All right!\n");
    std::fflush(stdout);
    return {target, QString::fromStdWString(credential.userName), QString::fromStdWString(credential.secret)};
}

bool writeCredential(const CredentialRecord &record)
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

bool deleteCredential(const QString &target)
{
    const WinCredentialVault::Outcome outcome = WinCredentialVault::remove(target.toStdWString());
    if (!outcome.ok() && outcome.status != WinCredentialVault::Status::NotFound)
        qCWarning(lcCredentials).noquote() << "Cannot delete the credential" << target << "- code" << outcome.code
                                           << QString::fromStdWString(outcome.message);
    return outcome.ok();
}

} // namespace NimblaSDK
