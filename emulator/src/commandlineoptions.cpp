#include "commandlineoptions.h"

#include <Poco/NumberParser.h>

namespace NimblaEmulator {

namespace {

int parsePort(const std::string& text)
{
    int port = -1;
    if (!Poco::NumberParser::tryParse(text, port) || port < 0 || port > 65535)
        throw CommandLineOptions::UsageError("--port needs a number from 0 to 65535, got \"" + text + "\"");
    return port;
}

} // namespace

CommandLineOptions CommandLineOptions::parse(const std::vector<std::string>& arguments)
{
    CommandLineOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i)
    {
        std::string name = arguments[i];
        std::string value;
        bool hasInlineValue = false;
        const std::size_t equals = name.find('=');
        if (name.compare(0, 2, "--") == 0 && equals != std::string::npos)
        {
            value = name.substr(equals + 1);
            name = name.substr(0, equals);
            hasInlineValue = true;
        }
        auto takeValue = [&]() {
            if (hasInlineValue)
                return value;
            if (i + 1 >= arguments.size())
                throw UsageError(name + " needs a value");
            return arguments[++i];
        };
        auto takeNonEmpty = [&]() {
            std::string text = takeValue();
            if (text.empty())
                throw UsageError(name + " needs a non-empty value");
            return text;
        };

        if (name == "--port")
            options.port = parsePort(takeValue());
        else if (name == "--seed")
            options.seedFile = takeNonEmpty();
        else if (name == "--write-config")
            options.configFile = takeNonEmpty();
        else if (name == "--project")
            options.project = takeNonEmpty();
        else if (name == "--state")
            options.stateFile = takeNonEmpty();
        else if (name == "--die-with-parent" && !hasInlineValue)
            options.dieWithParent = true;
        else if ((name == "--help" || name == "-h") && !hasInlineValue)
            options.help = true;
        else
            throw UsageError("unknown argument \"" + arguments[i] + "\"");
    }
    return options;
}

std::string CommandLineOptions::usage()
{
    return "usage: nimbla-login-emulator [--port N] [--seed FILE] [--write-config FILE] [--project ID] "
           "[--state FILE] [--die-with-parent]\n";
}

} // namespace NimblaEmulator
