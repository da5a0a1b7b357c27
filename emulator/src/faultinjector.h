#pragma once

#include <Poco/JSON/Array.h>

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace NimblaEmulator {

// Misbehaviour that tests arrange for a path: a delay, a canned answer in place
// of the real one, or a dropped connection.
class FaultInjector
{
public:
    struct Fault
    {
        std::string path;
        int delayMs = 0;
        int status = 0; // 0: let the real handler answer (after the delay)
        std::string body;
        std::string contentType = "application/json";
        bool drop = false;
        int times = -1; // -1: until cleared
    };

    void add(Fault fault);
    void clear();
    // The newest fault arranged for the path, with one of its uses spent.
    std::optional<Fault> take(const std::string& path);
    Poco::JSON::Array::Ptr toJson() const;

    // Waits out an injected delay; returns early once shutdown began, so a
    // long delay never holds up the exit.
    void delay(int milliseconds);
    void shutdown();

private:
    mutable std::mutex _mutex;
    std::condition_variable _shuttingDown;
    bool _shutdown = false;
    std::vector<Fault> _faults;
};

} // namespace NimblaEmulator
