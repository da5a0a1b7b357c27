#include "attributestore.h"

namespace NimblaEmulator {

void AttributeStore::write(long long projectId, const std::string& userId, const std::vector<Attribute>& attributes)
{
    std::lock_guard<std::mutex> lock(_mutex);
    for (const Attribute& attribute : attributes)
        _attributes[Slot(projectId, userId, attribute.key)] = attribute;
}

std::vector<AttributeStore::Attribute> AttributeStore::read(long long projectId, const std::string& userId,
                                                            const std::vector<std::string>& keys, bool byOwner) const
{
    std::vector<Attribute> found;
    std::lock_guard<std::mutex> lock(_mutex);
    for (const std::string& key : keys)
    {
        const auto it = _attributes.find(Slot(projectId, userId, key));
        if (it != _attributes.end() && (byOwner || it->second.permission == "public"))
            found.push_back(it->second);
    }
    return found;
}

} // namespace NimblaEmulator
