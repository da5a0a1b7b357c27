#include "requestlog.h"

#include <Poco/JSON/Object.h>

namespace NimblaEmulator {

RequestLog::RequestLog(std::size_t capacity)
    : _capacity(capacity)
{
}

void RequestLog::add(Entry entry)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _entries.push_back(std::move(entry));
    _sequences.push_back(_nextSequence++);
    while (_entries.size() > _capacity)
    {
        _entries.pop_front();
        _sequences.pop_front();
    }
}

void RequestLog::clear()
{
    std::lock_guard<std::mutex> lock(_mutex);
    _entries.clear();
    _sequences.clear();
}

Poco::JSON::Array::Ptr RequestLog::toJson() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    Poco::JSON::Array::Ptr list = new Poco::JSON::Array;
    for (std::size_t i = 0; i < _entries.size(); ++i)
    {
        const Entry& entry = _entries[i];
        Poco::JSON::Object::Ptr headers = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
        for (const auto& header : entry.headers)
        {
            if (!headers->has(header.first))
                headers->set(header.first, header.second);
        }
        Poco::JSON::Object::Ptr item = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
        item->set("sequence", static_cast<Poco::UInt64>(_sequences[i]));
        item->set("method", entry.method);
        item->set("path", entry.path);
        item->set("query", entry.query);
        item->set("headers", headers);
        item->set("body", entry.body);
        list->add(item);
    }
    return list;
}

} // namespace NimblaEmulator
