// Cross-compiled with mingw-w64 and run under Wine: the only place where the Win32 vault
// calls really run outside Windows. Plain C++, since there is no Qt for mingw here.
// Prints "ok - <check>" or "not ok - <check>: <detail>" per check and a summary line;
// the exit code is the number of failed checks.

#include "wincredentialvault.h"

#include <cstdio>
#include <string>
#include <vector>

using NimblaSDK::WinCredentialVault;
using Status = WinCredentialVault::Status;

namespace {

int g_failures = 0;
int g_checks = 0;

std::string narrow(const std::wstring &text)
{
    if (text.empty())
        return {};
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0, nullptr, nullptr);
    std::string result(size_t(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), &result[0], size, nullptr, nullptr);
    return result;
}

void check(bool condition, const std::string &name, const std::string &detail = {})
{
    ++g_checks;
    if (condition) {
        std::printf("ok - %s\n", name.c_str());
    } else {
        ++g_failures;
        std::printf("not ok - %s%s%s\n", name.c_str(), detail.empty() ? "" : ": ", detail.c_str());
    }
}

std::string describe(const WinCredentialVault::Outcome &outcome)
{
    static const char *const names[] = {"Ok", "NotFound", "TooLarge", "Failed"};
    return std::string(names[int(outcome.status)]) + " code " + std::to_string(outcome.code) + " \""
        + narrow(outcome.message) + "\"";
}

int countRecords(const std::wstring &target)
{
    DWORD count = 0;
    PCREDENTIALW *records = nullptr;
    if (!CredEnumerateW(target.c_str(), 0, &count, &records))
        return GetLastError() == ERROR_NOT_FOUND ? 0 : -1;
    CredFree(records);
    return int(count);
}

struct RoundTrip
{
    const char *name;
    std::wstring target;
    std::wstring userName;
    std::wstring secret;
};

void roundTrips()
{
    const std::vector<RoundTrip> rows = {
        {"session-json", L"NimblaTestSession", L"",
         L"{\n    \"state\": {\n        \"refresh_token\": \"abc\"\n    },\n    \"type\": \"NimblaOAuth2\"\n}\n"},
        {"non-ascii", L"NimblaTest\u00c4\u0436", L"\u0418\u0433\u0440\u043e\u043a@example.com",
         L"\u043f\u0430\u0440\u043e\u043b\u044c \u5bc6\u7801 \U0001F511 \u00e9"},
        {"empty-secret", L"NimblaTestEmpty", L"someone", L""},
    };
    for (const RoundTrip &row : rows) {
        const std::string tag = std::string("round trip ") + row.name;
        const WinCredentialVault::Outcome written = WinCredentialVault::write(row.target, {row.userName, row.secret});
        check(written.ok(), tag + ": write", describe(written));

        WinCredentialVault::Credential read;
        const WinCredentialVault::Outcome outcome = WinCredentialVault::read(row.target, &read);
        check(outcome.ok(), tag + ": read", describe(outcome));
        check(read.userName == row.userName, tag + ": user name", narrow(read.userName));
        check(read.secret == row.secret, tag + ": secret",
              std::to_string(read.secret.size()) + " units, expected " + std::to_string(row.secret.size()));

        check(WinCredentialVault::remove(row.target).ok(), tag + ": delete");
    }
}

void overwrite()
{
    const std::wstring target = L"NimblaTestOverwrite";
    check(WinCredentialVault::write(target, {L"first@example.com", L"one"}).ok(), "overwrite: first write");
    check(WinCredentialVault::write(target, {L"second@example.com", L"\u0434\u0432\u0430"}).ok(),
          "overwrite: second write");

    WinCredentialVault::Credential read;
    check(WinCredentialVault::read(target, &read).ok(), "overwrite: read");
    check(read.userName == L"second@example.com" && read.secret == L"\u0434\u0432\u0430",
          "overwrite: the second record wins", narrow(read.userName) + " " + narrow(read.secret));
    const int records = countRecords(target);
    check(records == 1, "overwrite: one record for the target", std::to_string(records));
    WinCredentialVault::remove(target);
}

void deleteAndMissing()
{
    const std::wstring target = L"NimblaTestDelete";
    check(WinCredentialVault::write(target, {L"", L"x"}).ok(), "delete: write");
    const WinCredentialVault::Outcome removed = WinCredentialVault::remove(target);
    check(removed.ok(), "delete: first delete", describe(removed));

    const WinCredentialVault::Outcome again = WinCredentialVault::remove(target);
    check(again.status == Status::NotFound && again.code == ERROR_NOT_FOUND, "delete: second delete is not found",
          describe(again));

    WinCredentialVault::Credential read{L"stale", L"stale"};
    const WinCredentialVault::Outcome missing = WinCredentialVault::read(L"NimblaTestNeverWritten", &read);
    check(missing.status == Status::NotFound && missing.code == 1168, "missing target: 1168", describe(missing));
    check(!missing.message.empty(), "missing target: system text");
    check(read.userName == L"stale" && read.secret == L"stale", "missing target: credential untouched");
}

void errorPath()
{
    // Wine accepts more than Windows does; a record without a type is refused by both.
    const std::wstring secret = L"x";
    WinCredentialVault::Record record(L"NimblaTestBroken", L"", secret);
    record.credential().Type = 0;
    const WinCredentialVault::Outcome outcome = WinCredentialVault::commit(record.credential());
    check(outcome.status == Status::Failed && outcome.code == ERROR_INVALID_PARAMETER, "error path: code 87",
          describe(outcome));
    check(!outcome.message.empty(), "error path: system text");
    check(outcome.message.back() != L'\n' && outcome.message.back() != L'\r', "error path: text on one line");

    check(WinCredentialVault::systemMessage(0).empty(), "system text: none for 0");
    check(WinCredentialVault::systemMessage(0x2FFFFFFF).empty(), "system text: none for an unknown code");
}

void blobLimit()
{
    const std::wstring target = L"NimblaTestLimit";
    const std::wstring largest(WinCredentialVault::MaxBlobBytes / 2, L'\u0436');
    const WinCredentialVault::Outcome fits = WinCredentialVault::write(target, {L"", largest});
    check(fits.ok(), "blob limit: 2560 bytes are written", describe(fits));

    const std::wstring oversized = largest + L"!";
    const WinCredentialVault::Outcome refused = WinCredentialVault::write(target, {L"", oversized});
    check(refused.status == Status::TooLarge && refused.code == 0, "blob limit: 2562 bytes are refused",
          describe(refused));
    check(refused.message.find(L"2562") != std::wstring::npos && refused.message.find(L"2560") != std::wstring::npos,
          "blob limit: the warning gives both sizes", narrow(refused.message));

    WinCredentialVault::Credential read;
    check(WinCredentialVault::read(target, &read).ok() && read.secret == largest,
          "blob limit: the stored record is kept whole", std::to_string(read.secret.size()) + " units");
    WinCredentialVault::remove(target);

    const WinCredentialVault::Outcome fresh = WinCredentialVault::write(L"NimblaTestLimitFresh", {L"", oversized});
    check(fresh.status == Status::TooLarge, "blob limit: refused without an earlier record");
    const WinCredentialVault::Outcome nothing = WinCredentialVault::read(L"NimblaTestLimitFresh", &read);
    check(nothing.status == Status::NotFound, "blob limit: nothing cut short was written", describe(nothing));
}

} // namespace

int main()
{
    roundTrips();
    overwrite();
    deleteAndMissing();
    errorPath();
    blobLimit();
    if (g_failures == 0)
        std::printf("all %d checks passed\n", g_checks);
    else
        std::printf("%d of %d checks failed\n", g_failures, g_checks);
    return g_failures;
}
