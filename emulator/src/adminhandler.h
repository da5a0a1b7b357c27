#pragma once

#include "emulatorcontext.h"

namespace NimblaEmulator {

// Test support under /admin/: ready tokens, configurations, fault injection,
// the request log, fresh one-time passwords and whether PKCE is required.
class AdminHandler
{
public:
    explicit AdminHandler(const EmulatorContext& context);

    void handleToken(HttpExchange& exchange) const;
    void handleConfig(HttpExchange& exchange) const;
    void handleAddFault(HttpExchange& exchange) const;
    void handleListFaults(HttpExchange& exchange) const;
    void handleClearFaults(HttpExchange& exchange) const;
    void handleListRequests(HttpExchange& exchange) const;
    void handleClearRequests(HttpExchange& exchange) const;
    void handleAddOtp(HttpExchange& exchange) const;
    void handleRevoke(HttpExchange& exchange) const;
    void handleSetPkce(HttpExchange& exchange) const;

private:
    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
