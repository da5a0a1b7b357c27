#pragma once

#include "emulatorcontext.h"

#include <string>
#include <vector>

namespace NimblaEmulator {

// Trades a one-time password for the credential its seed entry describes.
class OtpHandler
{
public:
    explicit OtpHandler(const EmulatorContext& context);

    void handle(HttpExchange& exchange) const;

private:
    // The client inserts the OTP into the URL unencoded, so characters such as
    // '&' or '+' may have split or altered the parsed value. Everything after
    // the first "otp=" is the OTP as sent, since the template puts it last;
    // it is tried percent-decoded, then as is, then the parsed query value.
    static std::vector<std::string> candidates(const HttpExchange& exchange);

    const EmulatorContext& _context;
};

} // namespace NimblaEmulator
