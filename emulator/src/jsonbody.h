#pragma once

#include <Poco/JSON/Object.h>

#include <optional>
#include <string>

namespace NimblaEmulator {

// Lenient reading of request bodies: anything unexpected comes back empty
// instead of throwing, so handlers can answer 400 in one place.
class JsonBody
{
public:
    static Poco::JSON::Object::Ptr parseObject(const std::string& text);
    static std::optional<std::string> string(const Poco::JSON::Object::Ptr& object, const std::string& key);
    static std::optional<long long> integer(const Poco::JSON::Object::Ptr& object, const std::string& key);
    static std::optional<bool> boolean(const Poco::JSON::Object::Ptr& object, const std::string& key);
};

} // namespace NimblaEmulator
