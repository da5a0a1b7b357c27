#include "jsonbody.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Parser.h>

namespace NimblaEmulator {

Poco::JSON::Object::Ptr JsonBody::parseObject(const std::string& text)
{
    try
    {
        Poco::JSON::Parser parser;
        const Poco::Dynamic::Var parsed = parser.parse(text);
        if (parsed.type() != typeid(Poco::JSON::Object::Ptr))
            return nullptr;
        return parsed.extract<Poco::JSON::Object::Ptr>();
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

std::optional<std::string> JsonBody::string(const Poco::JSON::Object::Ptr& object, const std::string& key)
{
    if (!object || !object->has(key))
        return std::nullopt;
    const Poco::Dynamic::Var value = object->get(key);
    if (!value.isString())
        return std::nullopt;
    return value.extract<std::string>();
}

std::optional<long long> JsonBody::integer(const Poco::JSON::Object::Ptr& object, const std::string& key)
{
    if (!object || !object->has(key))
        return std::nullopt;
    const Poco::Dynamic::Var value = object->get(key);
    if (!value.isInteger())
        return std::nullopt;
    try
    {
        return value.convert<Poco::Int64>();
    }
    catch (const Poco::Exception&)
    {
        return std::nullopt;
    }
}

std::optional<bool> JsonBody::boolean(const Poco::JSON::Object::Ptr& object, const std::string& key)
{
    if (!object || !object->has(key))
        return std::nullopt;
    const Poco::Dynamic::Var value = object->get(key);
    if (!value.isBoolean())
        return std::nullopt;
    return value.extract<bool>();
}

} // namespace NimblaEmulator
