#include "tokenissuer.h"

#include <Poco/Exception.h>
#include <Poco/JWT/Signer.h>
#include <Poco/JWT/Token.h>
#include <Poco/Timestamp.h>
#include <Poco/UUIDGenerator.h>

#include <ctime>

namespace NimblaEmulator {

namespace {

const char* const kForgerySecret = "not-the-emulator-secret";

long long nowSeconds()
{
    return static_cast<long long>(std::time(nullptr));
}

} // namespace

TokenIssuer::TokenIssuer(std::string secret, long long defaultLifetimeSeconds)
    : _secret(std::move(secret))
    , _defaultLifetimeSeconds(defaultLifetimeSeconds)
{
}

TokenIssuer::Options TokenIssuer::defaults() const
{
    Options options;
    options.lifetimeSeconds = _defaultLifetimeSeconds;
    return options;
}

std::string TokenIssuer::issue(const Seed::User& user, const std::string& projectId) const
{
    return issue(user, projectId, defaults());
}

std::string TokenIssuer::issue(const Seed::User& user, const std::string& projectId, const Options& options) const
{
    Poco::JWT::Token token;
    token.setType("JWT");
    const long long now = nowSeconds();
    Poco::JSON::Object& payload = token.payload();
    payload.set("iat", static_cast<Poco::Int64>(now));
    payload.set("exp", static_cast<Poco::Int64>(now + options.lifetimeSeconds));
    // A unique id keeps two tokens issued in the same second distinguishable.
    payload.set("jti", Poco::UUIDGenerator::defaultGenerator().createRandom().toString());
    payload.set("nimbla_login_project_id", projectId);
    payload.set("email", user.login);
    payload.set("sub", user.sub);
    payload.set("username", user.username);
    if (options.withAccessKey && !user.accessKey.empty())
        payload.set("nimbla_login_access_key", user.accessKey);
    payload.set("publisher_id", static_cast<Poco::Int64>(user.publisherId));
    payload.set("external_account_id", user.externalAccountId);

    Poco::JWT::Signer signer(options.forged ? std::string(kForgerySecret) : _secret);
    return signer.sign(token, Poco::JWT::Signer::ALGO_HS256);
}

Poco::JSON::Object::Ptr TokenIssuer::verify(const std::string& jwt) const
{
    try
    {
        Poco::JWT::Signer signer(_secret);
        Poco::JWT::Token token;
        if (!signer.tryVerify(jwt, token))
            return nullptr;
        Poco::JSON::Object::Ptr payload = new Poco::JSON::Object(token.payload());
        if (!payload->has("exp"))
            return nullptr;
        const Poco::Dynamic::Var exp = payload->get("exp");
        if (!exp.isNumeric() || exp.convert<Poco::Int64>() <= nowSeconds())
            return nullptr;
        return payload;
    }
    catch (const Poco::Exception&)
    {
        return nullptr;
    }
    catch (const std::exception&)
    {
        return nullptr;
    }
}

} // namespace NimblaEmulator
