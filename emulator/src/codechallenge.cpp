#include "codechallenge.h"

#include <Poco/Base64Encoder.h>
#include <Poco/SHA2Engine.h>

#include <sstream>

namespace NimblaEmulator {

CodeChallenge::Request CodeChallenge::read(const HttpExchange& exchange, bool required)
{
    const std::string challenge = exchange.query("code_challenge").value_or(std::string());
    if (challenge.empty())
        return {std::string(), required ? "code_challenge is required" : std::string()};
    // A missing method means "plain", the verifier itself on the wire, which this service does not take.
    if (exchange.query("code_challenge_method").value_or(std::string()) != "S256")
        return {std::string(), "code_challenge_method must be S256"};
    if (!isWellFormed(challenge))
        return {std::string(), "code_challenge must be 43 to 128 unreserved characters"};
    return {challenge, std::string()};
}

bool CodeChallenge::isWellFormed(const std::string& text)
{
    static const std::string unreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    return text.size() >= 43 && text.size() <= 128 && text.find_first_not_of(unreserved) == std::string::npos;
}

bool CodeChallenge::verifies(const std::string& challenge, const std::string& verifier)
{
    Poco::SHA2Engine sha256(Poco::SHA2Engine::SHA_256);
    sha256.update(verifier);
    const Poco::DigestEngine::Digest& digest = sha256.digest();
    std::ostringstream text;
    Poco::Base64Encoder encoder(text, Poco::BASE64_URL_ENCODING | Poco::BASE64_NO_PADDING);
    encoder.write(reinterpret_cast<const char*>(digest.data()), static_cast<std::streamsize>(digest.size()));
    encoder.close();
    return text.str() == challenge;
}

} // namespace NimblaEmulator
