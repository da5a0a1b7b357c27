#pragma once

#include "seed.h"

#include <Poco/JSON/Object.h>

#include <string>

namespace NimblaEmulator {

// Issues and checks the HS256 JWTs of this emulator. Thread-safe: holds only
// constant settings.
class TokenIssuer
{
public:
    TokenIssuer(std::string secret, long long defaultLifetimeSeconds);

    struct Options
    {
        long long lifetimeSeconds;
        bool withAccessKey = true;
        // Signs with a key nobody trusts: a token that looks right but is not genuine.
        bool forged = false;
    };

    Options defaults() const;
    std::string issue(const Seed::User& user, const std::string& projectId, const Options& options) const;
    std::string issue(const Seed::User& user, const std::string& projectId) const;

    // The payload of a token signed with this emulator's secret that has not
    // expired yet; null otherwise.
    Poco::JSON::Object::Ptr verify(const std::string& jwt) const;

private:
    std::string _secret;
    long long _defaultLifetimeSeconds;
};

} // namespace NimblaEmulator
