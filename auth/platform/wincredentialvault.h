#pragma once

// Qt-free on purpose: this layer is also built alone with mingw-w64 and run under Wine,
// where no Qt exists, so the Win32 vault calls are exercised outside Windows.

#include <windows.h>
#include <wincred.h>

#include <string>
#include <vector>

namespace NimblaSDK {

/*!
 * The generic credentials of the current Windows user: one record per
 * target name, holding a user name and a UTF-16 secret.
 */
class WinCredentialVault
{
public:
    // mingw-w64's wincred.h declares 512 bytes; the Credential Manager takes 5 × 512.
    static constexpr DWORD MaxBlobBytes = 2560;

    enum class Status { Ok, NotFound, TooLarge, Failed };

    struct Outcome
    {
        Status status = Status::Ok;
        //! The Win32 error code when the system refused, else 0.
        DWORD code = 0;
        //! The system's text for the code, or a description of a refusal made before any call.
        std::wstring message;

        bool ok() const { return status == Status::Ok; }
    };

    struct Credential
    {
        std::wstring userName;
        std::wstring secret;
    };

    /*!
     * The CREDENTIALW that write() hands to CredWriteW: generic, persisted on
     * the local machine, with the target and user name in buffers of its own
     * and the blob pointing straight at the secret, which must outlive it.
     */
    class Record
    {
    public:
        Record(const std::wstring &target, const std::wstring &userName, const std::wstring &secret);
        Record(const Record &) = delete;
        Record &operator=(const Record &) = delete;

        CREDENTIALW &credential() { return m_credential; }

    private:
        std::vector<wchar_t> m_target;
        std::vector<wchar_t> m_userName;
        CREDENTIALW m_credential;
    };

    //! Fills \a credential when the outcome is Ok; a missing target gives NotFound with ERROR_NOT_FOUND.
    static Outcome read(const std::wstring &target, Credential *credential);
    //! Replaces the record of \a target; a secret over MaxBlobBytes is refused before the call and nothing changes.
    static Outcome write(const std::wstring &target, const Credential &credential);
    static Outcome remove(const std::wstring &target);

    //! CredWriteW of a prepared record, with the failure turned into an outcome.
    static Outcome commit(const CREDENTIALW &credential);
    //! The system's text for a Win32 error code; empty for 0 or an unknown code.
    static std::wstring systemMessage(DWORD code);
};

} // namespace NimblaSDK
