#pragma once

#include "seed.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace NimblaEmulator {

// What changes while the emulator runs: authorization codes, refresh tokens and
// the one-time passwords still unused. POCO serves requests on several worker
// threads, so every access goes through the mutex.
class EmulatorState
{
public:
    // Who an authorization code or refresh token was issued to.
    struct Grant
    {
        std::string projectId;
        int clientId = 0;
        std::string login;
        std::string redirectUri;
        bool forgedToken = false;
        // Codes and refresh tokens in padded base64, which a client has to form-encode to send back.
        bool base64Tokens = false;
        // The S256 challenge of the authorization request (RFC 7636); empty when it carried none.
        std::string codeChallenge;
        // The authorization code that the chain of refresh tokens started
        // from; empty for tokens that no code led to.
        std::string family;
    };

    struct CodeRedemption
    {
        std::optional<Grant> grant;
        // The code was redeemed before: a sign that it was stolen.
        bool replayed = false;
    };

    // What outlives a restart when the emulator keeps its state in a file.
    struct Snapshot
    {
        std::map<std::string, Grant> codes;
        std::map<std::string, Grant> refreshTokens;
        std::vector<std::string> usedOtps;
    };

    explicit EmulatorState(const Seed& seed);

    Snapshot snapshot();
    // Adds the snapshot's codes and tokens and marks its OTPs used.
    void restore(const Snapshot& snapshot);
    // Called after every change, outside the lock, on the thread that made it.
    void setChangeListener(std::function<void()> listener);

    // Revokes \a refreshToken, or every refresh token of \a login when the
    // token is empty; returns how many were revoked.
    std::size_t revokeRefreshTokens(const std::string& refreshToken, const std::string& login);

    std::string issueCode(const Grant& grant);
    // Single use: a taken code is gone whatever the caller does with it. A
    // second use revokes the refresh tokens issued for the code, as the first
    // use may have been an attacker's.
    CodeRedemption redeemCode(const std::string& code);

    std::string issueRefreshToken(const Grant& grant);
    std::optional<Grant> takeRefreshToken(const std::string& refreshToken);

    // Whether every authorization request must carry a code challenge; set through the admin API.
    void setPkceRequired(bool required);
    bool pkceRequired() const;

    // An e-mail given to an account after the seed, by its "sub"; kept in memory only.
    void setEmail(const std::string& sub, const std::string& email);
    std::optional<std::string> email(const std::string& sub);

    // Replaces an unused or consumed OTP of the same text.
    void addOtp(const Seed::Otp& otp);
    // The first candidate that is a known OTP decides; it is consumed if still
    // unused. Returns nothing when no candidate was ever known or it was used.
    std::optional<Seed::Otp> takeOtp(const std::vector<std::string>& candidates);

private:
    static std::string randomToken(const char* prefix, bool base64);
    void changed() const;

    std::function<void()> _changeListener;
    std::atomic<bool> _pkceRequired{false};

    std::mutex _mutex;
    std::map<std::string, Grant> _codes;
    std::set<std::string> _redeemedCodes;
    std::map<std::string, Grant> _refreshTokens;
    std::map<std::string, Seed::Otp> _otps;
    std::map<std::string, bool> _otpConsumed;
    std::map<std::string, std::string> _emails;
};

} // namespace NimblaEmulator
