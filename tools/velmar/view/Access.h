// Who may look: a browser that shows the page of this program, and nobody that a foreign page sends.
#ifndef VELMAR_VIEW_ACCESS_H
#define VELMAR_VIEW_ACCESS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct Access {
    std::string address; // to which the server is bound
    std::uint16_t port = 0;
    std::string token; // empty: whoever names this machine as what it is on itself may come
};

// What a request says of itself. Null: it does not, or says it twice.
struct Caller {
    std::string_view target;
    std::optional<std::string_view> host;
    std::optional<std::string_view> origin;
};

// The part of a target in front of its query.
std::string_view PathOf(std::string_view target);

// Null when the caller may have the page; otherwise a line that says why not. Without a token the name that the
// browser was given counts: a foreign name that leads here belongs to a foreign page.
const char* WhyNoPage(const Access& access, const Caller& caller);

// The same for the stream, which only the page may read that came from here.
const char* WhyNoStream(const Access& access, const Caller& caller);

#endif
