#pragma once

#include "seed.h"

#include <string>

namespace NimblaEmulator {

// Turns seed JSON into a Seed, refusing anything that would make the emulator
// answer inconsistently later (unknown behaviours, duplicate ids, ...).
// Throws SeedError with a message that names the offending entry.
class SeedLoader
{
public:
    static Seed fromText(const std::string& text);
    static Seed fromFile(const std::string& path);
    static Seed builtIn();

    static bool isKnownOtpOutcome(const std::string& outcome);
};

} // namespace NimblaEmulator
