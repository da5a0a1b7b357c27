#pragma once

#include "httpexchange.h"

#include <functional>
#include <string>
#include <vector>

namespace NimblaEmulator {

// Maps method and path pattern to the code that answers. Patterns are
// slash-separated; a segment "{name}" matches any one non-empty segment and is
// handed to the handler as a path parameter.
class Router
{
public:
    using Handler = std::function<void(HttpExchange&)>;

    void add(const std::string& method, const std::string& pattern, Handler handler);
    // Answers 404 for an unknown path and 405 for a known path with another method.
    void dispatch(HttpExchange& exchange) const;

private:
    struct Route
    {
        std::string method;
        std::vector<std::string> segments;
        Handler handler;
    };

    static std::vector<std::string> split(const std::string& path);
    static bool match(const Route& route, const std::vector<std::string>& segments,
                      std::map<std::string, std::string>& params);

    std::vector<Route> _routes;
};

} // namespace NimblaEmulator
