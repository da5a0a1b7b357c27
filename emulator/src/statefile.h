#pragma once

#include "emulatorstate.h"

#include <mutex>
#include <stdexcept>
#include <string>

namespace NimblaEmulator {

// Keeps the emulator's changing state (codes, refresh tokens, used one-time
// passwords) in a JSON file, so that a restarted emulator still honours what
// it issued before: a launcher's remembered session survives the restart of
// the service it talks to.
class StateFile
{
public:
    class Error : public std::runtime_error
    {
    public:
        using std::runtime_error::runtime_error;
    };

    explicit StateFile(std::string path);

    // Restores the file's content into \a state; a file not there yet is an
    // empty state. Throws Error when the file cannot be read or parsed.
    void load(EmulatorState& state) const;
    // Writes the whole state; the file is replaced at once, never half written.
    // A failed write is reported on stderr and the emulator serves on.
    void save(EmulatorState& state);

private:
    std::string _path;
    std::mutex _mutex;
};

} // namespace NimblaEmulator
