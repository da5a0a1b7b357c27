#pragma once

#include "emulatorcontext.h"

namespace NimblaEmulator {

// Tells the client whether the project logs in directly or through the proxy.
class WidgetSettingsHandler
{
public:
    explicit WidgetSettingsHandler(const EmulatorContext& context);

    void handle(HttpExchange& exchange) const;

private:
    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
