#include "commandlineoptions.h"
#include "emulator.h"
#include "libraryconfig.h"
#include "seederror.h"
#include "seedloader.h"
#include "statefile.h"

#include <Poco/Exception.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <pthread.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

using namespace NimblaEmulator;

namespace {

const char* const kName = "nimbla-login-emulator";
constexpr int kUsageExit = 2;

int fail(int code, const std::string& message)
{
    std::cerr << kName << ": " << message << std::endl;
    return code;
}

void followParent()
{
#ifdef __linux__
    const pid_t parent = getppid();
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    // The parent may have gone before the request took effect.
    if (getppid() != parent)
        std::exit(0);
#endif
}

} // namespace

int main(int argc, char* argv[])
{
    CommandLineOptions options;
    try
    {
        options = CommandLineOptions::parse(std::vector<std::string>(argv + 1, argv + argc));
    }
    catch (const CommandLineOptions::UsageError& e)
    {
        return fail(kUsageExit, std::string(e.what()) + " (see --help)");
    }
    if (options.help)
    {
        std::cout << CommandLineOptions::usage();
        return 0;
    }

    // Blocked before any thread starts, so every worker inherits the mask and
    // the main thread alone receives the stop request.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    if (options.dieWithParent)
        followParent();

    Seed seed;
    try
    {
        seed = options.seedFile.empty() ? SeedLoader::builtIn() : SeedLoader::fromFile(options.seedFile);
    }
    catch (const SeedError& e)
    {
        const std::string origin = options.seedFile.empty() ? "built-in seed" : "seed file " + options.seedFile;
        return fail(kUsageExit, origin + ": " + e.what());
    }

    const std::string projectId = options.project.empty() ? seed.defaultProject : options.project;
    if (!seed.findProject(projectId))
        return fail(kUsageExit, "--project: unknown project \"" + projectId + "\"");

    try
    {
        Emulator emulator(std::move(seed), options.port);
        std::unique_ptr<StateFile> stateFile;
        if (!options.stateFile.empty())
        {
            stateFile = std::make_unique<StateFile>(options.stateFile);
            try
            {
                stateFile->load(emulator.state());
            }
            catch (const StateFile::Error& e)
            {
                return fail(kUsageExit, "--state " + options.stateFile + ": " + e.what());
            }
            emulator.state().setChangeListener([&emulator, &stateFile] { stateFile->save(emulator.state()); });
        }
        emulator.start();
        if (!options.configFile.empty())
        {
            try
            {
                LibraryConfig::writeFile(
                    LibraryConfig::build(*emulator.seed().findProject(projectId), emulator.layout()),
                    options.configFile);
            }
            catch (const std::runtime_error& e)
            {
                return fail(kUsageExit, "--write-config " + options.configFile + ": " + e.what());
            }
        }
        std::cout << kName << " listening on " << emulator.layout().base() << std::endl;

        int received = 0;
        sigwait(&stopSignals, &received);
        emulator.stop();
    }
    catch (const Poco::Exception& e)
    {
        return fail(1, "cannot serve on 127.0.0.1:" + std::to_string(options.port) + ": " + e.displayText());
    }
    return 0;
}
