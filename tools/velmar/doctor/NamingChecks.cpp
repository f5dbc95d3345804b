// Whether the server's name leads to an address.
#include <fmt/format.h>

#include <stdexcept>

#include "doctor/Checks.h"
#include "wire/Addresses.h"

Finding CheckName(Examination& examination) {
    try {
        examination.address = Resolve(examination.server);
    } catch (const std::runtime_error& error) {
        return {State::kFailure, error.what(), "unknown-name",
                "use the server's IPv4 address, or enter its name in the DNS or in /etc/hosts"};
    }
    return {State::kOk, fmt::format("{} is {}", examination.server, ToText(examination.address))};
}
