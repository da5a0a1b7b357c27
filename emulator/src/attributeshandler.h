#pragma once

#include "attributestore.h"
#include "emulatorcontext.h"

#include <optional>
#include <string>

namespace NimblaEmulator {

// The user attributes API, bearer-protected. Attributes are kept per
// publisher project and user; an update writes to the token's subject. Reading
// with an empty body doubles as the library's token check.
class AttributesHandler
{
public:
    explicit AttributesHandler(const EmulatorContext& context);

    void handleGet(HttpExchange& exchange);
    void handleUpdate(HttpExchange& exchange);

private:
    // The subject of the request's genuine bearer token; answers 403 when there is none.
    std::optional<std::string> authorize(HttpExchange& exchange) const;

    const EmulatorContext& _context;
    AttributeStore _store;
};

} // namespace NimblaEmulator
