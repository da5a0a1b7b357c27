#pragma once

#include "emulatorcontext.h"

namespace NimblaEmulator {

// The user attributes API. Reading is bearer-protected and doubles as the
// client's token check; nothing is stored yet, so every user has no attributes.
class AttributesHandler
{
public:
    explicit AttributesHandler(const EmulatorContext& context);

    void handleGet(HttpExchange& exchange) const;
    void handleUpdate(HttpExchange& exchange) const;

private:
    bool authorize(HttpExchange& exchange) const;

    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
