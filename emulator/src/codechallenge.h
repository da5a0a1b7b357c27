#pragma once

#include "httpexchange.h"

#include <string>

namespace NimblaEmulator {

// Proof Key for Code Exchange (RFC 7636), with the S256 method alone: the
// authorization request carries the hash of a secret that only the token
// request reveals, so a code caught on its way to the client is of no use to
// whoever caught it.
class CodeChallenge
{
public:
    struct Request
    {
        std::string challenge; // empty: the request carries none
        std::string error;     // why the request is refused (invalid_request); empty when it may go on
    };

    // The "code_challenge" and "code_challenge_method" of an authorization request.
    static Request read(const HttpExchange& exchange, bool required);
    // 43 to 128 unreserved characters: the form of a verifier and of a challenge.
    static bool isWellFormed(const std::string& text);
    static bool verifies(const std::string& challenge, const std::string& verifier);
};

} // namespace NimblaEmulator
