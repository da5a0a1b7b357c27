#pragma once

#include "emulatorcontext.h"

#include <Poco/JSON/Object.h>

namespace NimblaEmulator {

// Login and password, answered with a "login_url": a token for the plain
// logins (direct and proxy), an authorization code for the OAuth2 login.
// The seeded user's behaviour decides on captcha, policy and odd answers.
class PasswordLoginHandler
{
public:
    explicit PasswordLoginHandler(const EmulatorContext& context);

    void handlePlain(HttpExchange& exchange) const;
    void handleOAuth(HttpExchange& exchange) const;

private:
    struct Attempt
    {
        const Seed::Project* project = nullptr;
        const Seed::User* user = nullptr;
    };

    // Answers every refusal itself; a returned user passed the checks.
    Attempt authenticate(HttpExchange& exchange) const;
    std::string policyUrl(const Attempt& attempt) const;
    void answer(HttpExchange& exchange, const Attempt& attempt, const std::string& loginUrl) const;
    bool sendToPolicyPage(HttpExchange& exchange, const Attempt& attempt) const;

    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
