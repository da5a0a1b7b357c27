#pragma once

#include <stdexcept>
#include <string>

namespace NimblaEmulator {

class SeedError : public std::runtime_error
{
public:
    explicit SeedError(const std::string& message)
        : std::runtime_error(message)
    {
    }
};

} // namespace NimblaEmulator
