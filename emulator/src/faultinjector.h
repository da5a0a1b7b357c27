#pragma once

#include <Poco/JSON/Array.h>

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace NimblaEmulator {

// Misbehaviour that tests arrange for a path: a delay, a canned answer in place
// of the real one, a dropped connection, or a body that is paced or cut short.
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
        int trickleMs = 0; // > 0: the body goes out one byte per interval, after the headers
        bool cutBody = false; // the connection closes after a third of the body
        int times = -1; // -1: until cleared
    };

    void add(Fault fault);
    void clear();
    // The newest fault arranged for the path, with one of its uses spent.
    std::optional<Fault> take(const std::string& path);
    Poco::JSON::Array::Ptr toJson() const;

    // Waits out an injected delay; returns false early once shutdown began,
    // so a long delay or a slow trickle never holds up the exit.
    bool delay(int milliseconds);
    void shutdown();

private:
    mutable std::mutex _mutex;
    std::condition_variable _shuttingDown;
    bool _shutdown = false;
    std::vector<Fault> _faults;
};

} // namespace NimblaEmulator
