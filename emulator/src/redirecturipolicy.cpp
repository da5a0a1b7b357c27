#include "redirecturipolicy.h"

#include <Poco/Exception.h>
#include <Poco/Net/IPAddress.h>
#include <Poco/URI.h>

#include <algorithm>

namespace NimblaEmulator {

bool RedirectUriPolicy::allows(const Seed::Project& project, const std::string& uri)
{
    if (uri.find('#') != std::string::npos)
        return false;
    const auto& registered = project.redirectUris;
    return isLoopback(uri) || std::find(registered.begin(), registered.end(), uri) != registered.end();
}

bool RedirectUriPolicy::isLoopback(const std::string& uri)
{
    try
    {
        const Poco::URI parsed(uri);
        if (parsed.getScheme() != "http" && parsed.getScheme() != "https")
            return false;
        if (parsed.getHost() == "localhost")
            return true;
        Poco::Net::IPAddress address;
        return Poco::Net::IPAddress::tryParse(parsed.getHost(), address) && address.isLoopback();
    }
    catch (const Poco::Exception&)
    {
        return false;
    }
}

} // namespace NimblaEmulator
