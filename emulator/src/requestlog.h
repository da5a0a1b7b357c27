#pragma once

#include <Poco/JSON/Array.h>

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace NimblaEmulator {

// Recent requests to the service endpoints, for tests that check what the
// client sent (or that it sent nothing).
class RequestLog
{
public:
    struct Entry
    {
        std::string method;
        std::string path;
        std::string query;
        std::vector<std::pair<std::string, std::string>> headers;
        std::string body;
    };

    explicit RequestLog(std::size_t capacity = 1000);

    void add(Entry entry);
    void clear();
    Poco::JSON::Array::Ptr toJson() const;

private:
    const std::size_t _capacity;
    mutable std::mutex _mutex;
    std::deque<Entry> _entries;
    unsigned long long _nextSequence = 1;
    std::deque<unsigned long long> _sequences;
};

} // namespace NimblaEmulator
