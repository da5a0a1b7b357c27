#pragma once

#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace NimblaEmulator {

// The user attributes of every publisher project and user, in memory only.
// Thread-safe: POCO serves requests on several worker threads.
class AttributeStore
{
public:
    struct Attribute
    {
        std::string key;
        std::string permission;
        std::string value;
    };

    // Writes all of \a attributes at once, each replacing an earlier value of its key.
    void write(long long projectId, const std::string& userId, const std::vector<Attribute>& attributes);
    // The stored attributes among \a keys, in their order; another user than
    // the owner sees the "public" ones only.
    std::vector<Attribute> read(long long projectId, const std::string& userId, const std::vector<std::string>& keys,
                                bool byOwner) const;

private:
    using Slot = std::tuple<long long, std::string, std::string>; // project, user, key

    mutable std::mutex _mutex;
    std::map<Slot, Attribute> _attributes;
};

} // namespace NimblaEmulator
