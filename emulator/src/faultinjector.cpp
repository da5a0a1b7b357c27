#include "faultinjector.h"

#include <Poco/JSON/Object.h>

#include <chrono>

namespace NimblaEmulator {

void FaultInjector::add(Fault fault)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _faults.push_back(std::move(fault));
}

void FaultInjector::clear()
{
    std::lock_guard<std::mutex> lock(_mutex);
    _faults.clear();
}

std::optional<FaultInjector::Fault> FaultInjector::take(const std::string& path)
{
    std::lock_guard<std::mutex> lock(_mutex);
    for (auto it = _faults.rbegin(); it != _faults.rend(); ++it)
    {
        if (it->path != path)
            continue;
        Fault fault = *it;
        if (it->times > 0 && --it->times == 0)
            _faults.erase(std::next(it).base());
        return fault;
    }
    return std::nullopt;
}

bool FaultInjector::delay(int milliseconds)
{
    std::unique_lock<std::mutex> lock(_mutex);
    return !_shuttingDown.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return _shutdown; });
}

void FaultInjector::shutdown()
{
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _shutdown = true;
    }
    _shuttingDown.notify_all();
}

Poco::JSON::Array::Ptr FaultInjector::toJson() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    Poco::JSON::Array::Ptr list = new Poco::JSON::Array;
    for (const auto& fault : _faults)
    {
        Poco::JSON::Object::Ptr item = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
        item->set("path", fault.path);
        item->set("delayMs", fault.delayMs);
        item->set("status", fault.status);
        item->set("body", fault.body);
        item->set("contentType", fault.contentType);
        item->set("drop", fault.drop);
        item->set("trickleMs", fault.trickleMs);
        item->set("cutBody", fault.cutBody);
        item->set("times", fault.times);
        list->add(item);
    }
    return list;
}

} // namespace NimblaEmulator
