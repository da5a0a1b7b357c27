#include "wincredentialvault.h"

namespace NimblaSDK {

namespace {

std::vector<wchar_t> terminatedCopy(const std::wstring &text)
{
    std::vector<wchar_t> buffer(text.size() + 1, L'\0');
    text.copy(buffer.data(), text.size());
    return buffer;
}

WinCredentialVault::Outcome failure(DWORD code)
{
    WinCredentialVault::Outcome outcome;
    outcome.status = code == ERROR_NOT_FOUND ? WinCredentialVault::Status::NotFound
                                             : WinCredentialVault::Status::Failed;
    outcome.code = code;
    outcome.message = WinCredentialVault::systemMessage(code);
    return outcome;
}

} // namespace

WinCredentialVault::Record::Record(const std::wstring &target, const std::wstring &userName,
                                   const std::wstring &secret)
    : m_target(terminatedCopy(target))
    , m_userName(terminatedCopy(userName))
    , m_credential()
{
    m_credential.Flags = 0;
    m_credential.Type = CRED_TYPE_GENERIC;
    m_credential.TargetName = m_target.data();
    m_credential.Comment = nullptr;
    // The text without its terminating NUL: the reader takes size / 2 code units.
    m_credential.CredentialBlobSize = static_cast<DWORD>(secret.size() * sizeof(wchar_t));
    m_credential.CredentialBlob = reinterpret_cast<LPBYTE>(const_cast<wchar_t *>(secret.data()));
    m_credential.Persist = CRED_PERSIST_LOCAL_MACHINE;
    m_credential.AttributeCount = 0;
    m_credential.Attributes = nullptr;
    m_credential.TargetAlias = nullptr;
    // An empty string rather than null, as the records written by the launcher have always had.
    m_credential.UserName = m_userName.data();
}

WinCredentialVault::Outcome WinCredentialVault::read(const std::wstring &target, Credential *credential)
{
    const std::vector<wchar_t> targetName = terminatedCopy(target);
    PCREDENTIALW stored = nullptr;
    if (!CredReadW(targetName.data(), CRED_TYPE_GENERIC, 0, &stored))
        return failure(GetLastError());

    credential->userName = stored->UserName ? std::wstring(stored->UserName) : std::wstring();
    if (stored->CredentialBlob && stored->CredentialBlobSize >= sizeof(wchar_t))
        credential->secret.assign(reinterpret_cast<const wchar_t *>(stored->CredentialBlob),
                                  stored->CredentialBlobSize / sizeof(wchar_t));
    else
        credential->secret.clear();
    CredFree(stored);
    return {};
}

WinCredentialVault::Outcome WinCredentialVault::write(const std::wstring &target, const Credential &credential)
{
    const std::size_t blobBytes = credential.secret.size() * sizeof(wchar_t);
    if (blobBytes > MaxBlobBytes) {
        // Windows would refuse it anyway, but other implementations of the vault store or
        // cut the blob; a cut JSON record would be lost at the next read, so nothing is written.
        Outcome outcome;
        outcome.status = Status::TooLarge;
        outcome.message = L"the record takes " + std::to_wstring(blobBytes) + L" bytes, more than the vault's limit of "
                          + std::to_wstring(MaxBlobBytes);
        return outcome;
    }
    Record record(target, credential.userName, credential.secret);
    return commit(record.credential());
}

WinCredentialVault::Outcome WinCredentialVault::remove(const std::wstring &target)
{
    const std::vector<wchar_t> targetName = terminatedCopy(target);
    if (!CredDeleteW(targetName.data(), CRED_TYPE_GENERIC, 0))
        return failure(GetLastError());
    return {};
}

WinCredentialVault::Outcome WinCredentialVault::commit(const CREDENTIALW &credential)
{
    if (!CredWriteW(const_cast<PCREDENTIALW>(&credential), 0))
        return failure(GetLastError());
    return {};
}

std::wstring WinCredentialVault::systemMessage(DWORD code)
{
    if (code == 0)
        return {};
    LPWSTR buffer = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
        MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    // An unknown code yields no text and no buffer.
    if (!buffer)
        return {};
    std::wstring message(buffer, length);
    LocalFree(buffer);
    // The system ends its texts with a line break, which would split the log line.
    while (!message.empty() && (message.back() == L'\r' || message.back() == L'\n' || message.back() == L' '))
        message.pop_back();
    return message;
}

} // namespace NimblaSDK
