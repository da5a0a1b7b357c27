#include "router.h"

namespace NimblaEmulator {

void Router::add(const std::string& method, const std::string& pattern, Handler handler)
{
    _routes.push_back(Route{method, split(pattern), std::move(handler)});
}

std::vector<std::string> Router::split(const std::string& path)
{
    std::vector<std::string> segments;
    std::string current;
    for (const char c : path)
    {
        if (c == '/')
        {
            if (!current.empty())
                segments.push_back(current);
            current.clear();
        }
        else
        {
            current += c;
        }
    }
    if (!current.empty())
        segments.push_back(current);
    return segments;
}

bool Router::match(const Route& route, const std::vector<std::string>& segments,
                   std::map<std::string, std::string>& params)
{
    if (route.segments.size() != segments.size())
        return false;
    params.clear();
    for (std::size_t i = 0; i < segments.size(); ++i)
    {
        const std::string& expected = route.segments[i];
        if (expected.size() > 2 && expected.front() == '{' && expected.back() == '}')
            params[expected.substr(1, expected.size() - 2)] = segments[i];
        else if (expected != segments[i])
            return false;
    }
    return true;
}

void Router::dispatch(HttpExchange& exchange) const
{
    const std::vector<std::string> segments = split(exchange.path());
    bool pathKnown = false;
    std::map<std::string, std::string> params;
    for (const Route& route : _routes)
    {
        if (!match(route, segments, params))
            continue;
        pathKnown = true;
        if (route.method != exchange.method())
            continue;
        exchange.setPathParams(params);
        route.handler(exchange);
        return;
    }
    if (pathKnown)
        exchange.sendError(405, "Method " + exchange.method() + " is not allowed on " + exchange.path());
    else
        exchange.sendError(404, "Unknown endpoint " + exchange.path());
}

} // namespace NimblaEmulator
