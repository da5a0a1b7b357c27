#pragma once

#include "seed.h"
#include "urllayout.h"

#include <Poco/JSON/Object.h>

#include <string>

namespace NimblaEmulator {

// The library configuration that points a client at this running emulator for
// one project.
class LibraryConfig
{
public:
    static Poco::JSON::Object::Ptr build(const Seed::Project& project, const UrlLayout& layout);
    static std::string toText(const Poco::JSON::Object::Ptr& config);
    // Throws std::runtime_error when the file cannot be written.
    static void writeFile(const Poco::JSON::Object::Ptr& config, const std::string& path);
};

} // namespace NimblaEmulator
