#pragma once

#include "credentials.h"

#include <chrono>
#include <optional>

namespace NimblaSDK {

// The platform's vault, one source file per platform chosen in CMake. Called only from
// the vault's own thread, one call at a time; each call reports its failures itself.
namespace CredentialBackend {

using Deadline = std::chrono::steady_clock::time_point;

//! How long a caller waits for the vault before the call counts as unanswered.
constexpr std::chrono::milliseconds ServiceTimeout{2000};

//! Starts reaching the vault ahead of the first call, where that costs time; returns at once.
void prepare();

//! Each call gives up when \a deadline passes.
std::optional<CredentialRecord> read(const QString &target, Deadline deadline);
bool write(const CredentialRecord &record, Deadline deadline);
bool remove(const QString &target, Deadline deadline);

//! Console trace of a successful read, which the launcher's support scripts look for.
void printReadTrace();

} // namespace CredentialBackend

} // namespace NimblaSDK
