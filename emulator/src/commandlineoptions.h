#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace NimblaEmulator {

class CommandLineOptions
{
public:
    class UsageError : public std::runtime_error
    {
    public:
        using std::runtime_error::runtime_error;
    };

    int port = 0;
    std::string seedFile;
    std::string configFile;
    std::string project;
    std::string stateFile;
    bool dieWithParent = false;
    bool help = false;

    // Throws UsageError naming the offending argument.
    static CommandLineOptions parse(const std::vector<std::string>& arguments);
    static std::string usage();
};

} // namespace NimblaEmulator
