#include "urllayout.h"

namespace NimblaEmulator {

namespace {

void replaceAll(std::string& text, const std::string& from, const std::string& to)
{
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

} // namespace

UrlLayout::UrlLayout(int port, const std::string& playfabHost)
    : _base("http://127.0.0.1:" + std::to_string(port))
    , _playfabBase("http://" + playfabHost + ":" + std::to_string(port))
{
}

std::string UrlLayout::base() const
{
    return _base;
}

std::string UrlLayout::url(const std::string& pattern, const std::string& project, const std::string& provider) const
{
    std::string path = pattern;
    replaceAll(path, "{project}", project);
    replaceAll(path, "{provider}", provider);
    return _base + path;
}

std::string UrlLayout::playfabUrl(const std::string& pattern, const std::string& project) const
{
    return _playfabBase + url(pattern, project).substr(_base.size());
}

} // namespace NimblaEmulator
