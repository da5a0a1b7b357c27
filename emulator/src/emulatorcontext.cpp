#include "emulatorcontext.h"

namespace NimblaEmulator {

EmulatorContext::EmulatorContext(const Seed& seed, EmulatorState& state, const TokenIssuer& issuer,
                                 const UrlLayout& layout, RequestLog& requests, FaultInjector& faults)
    : _seed(seed)
    , _state(state)
    , _issuer(issuer)
    , _layout(layout)
    , _requests(requests)
    , _faults(faults)
{
}

const Seed& EmulatorContext::seed() const
{
    return _seed;
}

EmulatorState& EmulatorContext::state() const
{
    return _state;
}

const TokenIssuer& EmulatorContext::issuer() const
{
    return _issuer;
}

const UrlLayout& EmulatorContext::layout() const
{
    return _layout;
}

RequestLog& EmulatorContext::requests() const
{
    return _requests;
}

FaultInjector& EmulatorContext::faults() const
{
    return _faults;
}

const Seed::Project* EmulatorContext::requireProject(HttpExchange& exchange) const
{
    const std::string id = exchange.pathParam("project");
    const Seed::Project* project = _seed.findProject(id);
    if (!project)
        exchange.sendError(404, "Unknown login project \"" + id + "\"");
    return project;
}

Seed::User EmulatorContext::account(const Seed::User& seeded) const
{
    Seed::User user = seeded;
    if (const std::optional<std::string> email = _state.email(seeded.sub))
        user.login = *email;
    return user;
}

} // namespace NimblaEmulator
