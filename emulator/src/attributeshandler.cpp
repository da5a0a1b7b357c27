#include "attributeshandler.h"

#include "jsonbody.h"

#include <Poco/JSON/Array.h>

namespace NimblaEmulator {

namespace {

// The request body as an object, or a 400 or 422 answer and null.
Poco::JSON::Object::Ptr requestObject(HttpExchange& exchange)
{
    const Poco::JSON::Object::Ptr body = JsonBody::parseObject(exchange.body());
    if (!body)
    {
        exchange.sendError(400, "Request body must be a JSON object");
        return nullptr;
    }
    const std::optional<long long> projectId = JsonBody::integer(body, "publisher_project_id");
    if (!projectId || *projectId < 0)
    {
        exchange.sendError(422, "Field \"publisher_project_id\" must be a non-negative integer");
        return nullptr;
    }
    return body;
}

std::optional<std::vector<std::string>> stringArray(const Poco::JSON::Object::Ptr& object, const std::string& key)
{
    const Poco::JSON::Array::Ptr array = object->getArray(key);
    if (!array)
        return std::nullopt;
    std::vector<std::string> strings;
    for (std::size_t i = 0; i < array->size(); ++i)
    {
        const Poco::Dynamic::Var item = array->get(static_cast<unsigned>(i));
        if (!item.isString())
            return std::nullopt;
        strings.push_back(item.extract<std::string>());
    }
    return strings;
}

std::optional<std::vector<AttributeStore::Attribute>> attributeArray(const Poco::JSON::Object::Ptr& object)
{
    const Poco::JSON::Array::Ptr array = object->getArray("attributes");
    if (!array)
        return std::nullopt;
    std::vector<AttributeStore::Attribute> attributes;
    for (std::size_t i = 0; i < array->size(); ++i)
    {
        const Poco::JSON::Object::Ptr item = array->getObject(static_cast<unsigned>(i));
        const std::optional<std::string> key = JsonBody::string(item, "key");
        const std::optional<std::string> permission = JsonBody::string(item, "permission");
        const std::optional<std::string> value = JsonBody::string(item, "value");
        if (!key || key->empty() || !value || !permission || (*permission != "public" && *permission != "private"))
            return std::nullopt;
        attributes.push_back({*key, *permission, *value});
    }
    return attributes;
}

} // namespace

AttributesHandler::AttributesHandler(const EmulatorContext& context)
    : _context(context)
{
}

std::optional<std::string> AttributesHandler::authorize(HttpExchange& exchange) const
{
    const std::string token = exchange.bearerToken();
    if (token.empty())
    {
        exchange.sendError(403, "Authorization bearer token is missing");
        return std::nullopt;
    }
    const Poco::JSON::Object::Ptr payload = _context.issuer().verify(token);
    const std::optional<std::string> subject = JsonBody::string(payload, "sub");
    if (!subject)
    {
        exchange.sendError(403, "Authorization bearer token is invalid or expired");
        return std::nullopt;
    }
    return subject;
}

void AttributesHandler::handleGet(HttpExchange& exchange)
{
    const std::optional<std::string> subject = authorize(exchange);
    if (!subject)
        return;
    Poco::JSON::Array::Ptr answer(new Poco::JSON::Array);
    // The library's JWT validator asks with an empty body: nothing asked, nothing answered.
    if (exchange.body().empty())
    {
        exchange.sendJson(200, answer);
        return;
    }
    const Poco::JSON::Object::Ptr body = requestObject(exchange);
    if (!body)
        return;
    const std::optional<std::vector<std::string>> keys = stringArray(body, "keys");
    const std::optional<std::string> userId = JsonBody::string(body, "user_id");
    if (!keys || !userId || userId->empty())
    {
        exchange.sendError(422, "Fields \"keys\" (an array of strings) and \"user_id\" (a non-empty string) are required");
        return;
    }
    const long long projectId = *JsonBody::integer(body, "publisher_project_id");
    for (const AttributeStore::Attribute& attribute : _store.read(projectId, *userId, *keys, *userId == *subject))
    {
        Poco::JSON::Object::Ptr item(new Poco::JSON::Object);
        item->set("key", attribute.key);
        item->set("value", attribute.value);
        answer->add(item);
    }
    exchange.sendJson(200, answer);
}

void AttributesHandler::handleUpdate(HttpExchange& exchange)
{
    const std::optional<std::string> subject = authorize(exchange);
    if (!subject)
        return;
    const Poco::JSON::Object::Ptr body = requestObject(exchange);
    if (!body)
        return;
    const std::optional<std::vector<AttributeStore::Attribute>> attributes = attributeArray(body);
    if (!attributes)
    {
        exchange.sendError(422, "Field \"attributes\" must be an array of {\"key\", \"permission\", \"value\"} with a "
                                "non-empty key, a string value and the permission \"public\" or \"private\"");
        return;
    }
    _store.write(*JsonBody::integer(body, "publisher_project_id"), *subject, *attributes);
    exchange.sendEmpty(204);
}

} // namespace NimblaEmulator
