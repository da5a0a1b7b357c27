#include "emulatorstate.h"

#include <Poco/RandomStream.h>

#include <istream>

namespace NimblaEmulator {

EmulatorState::EmulatorState(const Seed& seed)
{
    for (const auto& otp : seed.otps)
    {
        _otps[otp.otp] = otp;
        _otpConsumed[otp.otp] = false;
    }
}

std::string EmulatorState::randomToken(const char* prefix)
{
    static const char kHex[] = "0123456789abcdef";
    Poco::RandomInputStream random;
    std::string token = prefix;
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
    const std::string code = randomToken("code-");
    std::lock_guard<std::mutex> lock(_mutex);
    _codes[code] = grant;
    return code;
}

EmulatorState::CodeRedemption EmulatorState::redeemCode(const std::string& code)
{
    std::lock_guard<std::mutex> lock(_mutex);
    CodeRedemption redemption;
    const auto it = _codes.find(code);
    if (it != _codes.end())
    {
        redemption.grant = it->second;
        _codes.erase(it);
        _redeemedCodes.insert(code);
        return redemption;
    }
    redemption.replayed = _redeemedCodes.count(code) > 0;
    if (redemption.replayed)
    {
        for (auto token = _refreshTokens.begin(); token != _refreshTokens.end();)
            token = token->second.family == code ? _refreshTokens.erase(token) : std::next(token);
    }
    return redemption;
}

std::string EmulatorState::issueRefreshToken(const Grant& grant)
{
    const std::string token = randomToken("refresh-");
    std::lock_guard<std::mutex> lock(_mutex);
    _refreshTokens[token] = grant;
    return token;
}

std::optional<EmulatorState::Grant> EmulatorState::takeRefreshToken(const std::string& refreshToken)
{
    std::lock_guard<std::mutex> lock(_mutex);
    const auto it = _refreshTokens.find(refreshToken);
    if (it == _refreshTokens.end())
        return std::nullopt;
    Grant grant = it->second;
    _refreshTokens.erase(it);
    return grant;
}

void EmulatorState::addOtp(const Seed::Otp& otp)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _otps[otp.otp] = otp;
    _otpConsumed[otp.otp] = false;
}

std::optional<Seed::Otp> EmulatorState::takeOtp(const std::vector<std::string>& candidates)
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
        return it->second;
    }
    return std::nullopt;
}

} // namespace NimblaEmulator
