#include "emulatorstate.h"

#include <Poco/Base64Encoder.h>
#include <Poco/RandomStream.h>

#include <istream>
#include <sstream>

namespace NimblaEmulator {

EmulatorState::EmulatorState(const Seed& seed)
{
    for (const auto& otp : seed.otps)
    {
        _otps[otp.otp] = otp;
        _otpConsumed[otp.otp] = false;
    }
}

std::string EmulatorState::randomToken(const char* prefix, bool base64)
{
    static const char kHex[] = "0123456789abcdef";
    Poco::RandomInputStream random;
    std::string token = prefix;
    if (base64)
    {
        // Led by "+/" and padded with "==": every such token holds the three
        // characters that a client has to form-encode before it sends them back.
        char bytes[16];
        random.read(bytes, sizeof bytes);
        std::ostringstream text;
        Poco::Base64Encoder encoder(text);
        encoder.write(bytes, sizeof bytes);
        encoder.close();
        return token + "+/" + text.str();
    }
    for (int i = 0; i < 24; ++i)
    {
        const auto byte = static_cast<unsigned char>(random.get());
        token += kHex[byte >> 4];
        token += kHex[byte & 0x0f];
    }
    return token;
}

std::string EmulatorState::issueCode(const Grant& grant)
{
    const std::string code = randomToken("code-", grant.base64Tokens);
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _codes[code] = grant;
    }
    changed();
    return code;
}

EmulatorState::CodeRedemption EmulatorState::redeemCode(const std::string& code)
{
    CodeRedemption redemption;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        const auto it = _codes.find(code);
        if (it != _codes.end())
        {
            redemption.grant = it->second;
            _codes.erase(it);
            _redeemedCodes.insert(code);
        }
        else if (_redeemedCodes.count(code) > 0)
        {
            redemption.replayed = true;
            for (auto token = _refreshTokens.begin(); token != _refreshTokens.end();)
                token = token->second.family == code ? _refreshTokens.erase(token) : std::next(token);
        }
    }
    if (redemption.grant || redemption.replayed)
        changed();
    return redemption;
}

std::string EmulatorState::issueRefreshToken(const Grant& grant)
{
    const std::string token = randomToken("refresh-", grant.base64Tokens);
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _refreshTokens[token] = grant;
    }
    changed();
    return token;
}

std::optional<EmulatorState::Grant> EmulatorState::takeRefreshToken(const std::string& refreshToken)
{
    std::optional<Grant> grant;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        const auto it = _refreshTokens.find(refreshToken);
        if (it == _refreshTokens.end())
            return std::nullopt;
        grant = it->second;
        _refreshTokens.erase(it);
    }
    changed();
    return grant;
}

void EmulatorState::addOtp(const Seed::Otp& otp)
{
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _otps[otp.otp] = otp;
        _otpConsumed[otp.otp] = false;
    }
    changed();
}

std::optional<Seed::Otp> EmulatorState::takeOtp(const std::vector<std::string>& candidates)
{
    std::optional<Seed::Otp> taken;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        for (const auto& candidate : candidates)
        {
            const auto it = _otps.find(candidate);
            if (it == _otps.end())
                continue;
            bool& consumed = _otpConsumed[candidate];
            if (consumed)
                return std::nullopt;
            consumed = true;
            taken = it->second;
            break;
        }
    }
    if (taken)
        changed();
    return taken;
}

EmulatorState::Snapshot EmulatorState::snapshot()
{
    std::lock_guard<std::mutex> lock(_mutex);
    Snapshot snapshot;
    snapshot.codes = _codes;
    snapshot.refreshTokens = _refreshTokens;
    for (const auto& [otp, consumed] : _otpConsumed)
    {
        if (consumed)
            snapshot.usedOtps.push_back(otp);
    }
    return snapshot;
}

void EmulatorState::restore(const Snapshot& snapshot)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _codes.insert(snapshot.codes.begin(), snapshot.codes.end());
    _refreshTokens.insert(snapshot.refreshTokens.begin(), snapshot.refreshTokens.end());
    for (const auto& otp : snapshot.usedOtps)
    {
        // An OTP added through the admin API before the restart is not in the
        // seed; it is only remembered as used, which is all that matters.
        _otps.emplace(otp, Seed::Otp{otp, std::string(), std::string(), 200});
        _otpConsumed[otp] = true;
    }
}

void EmulatorState::setChangeListener(std::function<void()> listener)
{
    _changeListener = std::move(listener);
}

std::size_t EmulatorState::revokeRefreshTokens(const std::string& refreshToken, const std::string& login)
{
    std::size_t revoked = 0;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        for (auto it = _refreshTokens.begin(); it != _refreshTokens.end();)
        {
            const bool matches = refreshToken.empty() ? it->second.login == login : it->first == refreshToken;
            if (matches)
            {
                it = _refreshTokens.erase(it);
                ++revoked;
            }
            else
            {
                ++it;
            }
        }
    }
    if (revoked > 0)
        changed();
    return revoked;
}

void EmulatorState::changed() const
{
    if (_changeListener)
        _changeListener();
}

void EmulatorState::setPkceRequired(bool required)
{
    _pkceRequired = required;
}

bool EmulatorState::pkceRequired() const
{
    return _pkceRequired;
}

void EmulatorState::setEmail(const std::string& sub, const std::string& email)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _emails[sub] = email;
}

std::optional<std::string> EmulatorState::email(const std::string& sub)
{
    std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _emails.find(sub);
    if (found == _emails.end())
        return std::nullopt;
    return found->second;
}

} // namespace NimblaEmulator
