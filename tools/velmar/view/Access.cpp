#include "view/Access.h"

#include <algorithm>

namespace {

constexpr std::string_view kTokenField = "token=";
constexpr std::uint16_t kPortOfHttp = 80; // which browsers leave out

bool IsHost(std::string_view said, std::string_view name, std::uint16_t port) {
    if (!said.starts_with(name)) return false;
    const std::string_view behind = said.substr(name.size());
    return behind == ":" + std::to_string(port) || (port == kPortOfHttp && behind.empty());
}

bool NamesThisServer(const Access& access, std::string_view host) {
    const bool isIpv6 = access.address.find(':') != std::string::npos;
    const std::string own = isIpv6 ? "[" + access.address + "]" : access.address;
    return IsHost(host, "127.0.0.1", access.port) || IsHost(host, "localhost", access.port) ||
           IsHost(host, own, access.port);
}

// The first one of the query; empty when there is none.
std::string_view TokenOf(std::string_view target) {
    std::string_view left = target.substr(PathOf(target).size());
    while (!left.empty()) {
        left.remove_prefix(1); // the ? or &
        const std::string_view field = left.substr(0, left.find('&'));
        if (field.starts_with(kTokenField)) return field.substr(kTokenField.size());
        left.remove_prefix(field.size());
    }
    return {};
}

// Takes as long however much of it is right.
bool IsToken(std::string_view said, std::string_view token) {
    unsigned int differs = said.size() == token.size() ? 0 : 1;
    for (std::size_t i = 0; i < token.size(); ++i) {
        const char character = i < said.size() ? said[i] : '\0';
        differs |= static_cast<unsigned char>(character ^ token[i]);
    }
    return differs == 0;
}

} // namespace

std::string_view PathOf(std::string_view target) { return target.substr(0, target.find('?')); }

const char* WhyNoPage(const Access& access, const Caller& caller) {
    if (!caller.host) return "a request names one host";
    if (!access.token.empty())
        return IsToken(TokenOf(caller.target), access.token) ? nullptr
                                                             : "the address lacks the token that velmar printed";
    return NamesThisServer(access, *caller.host) ? nullptr : "this is no address of velmar view";
}

const char* WhyNoStream(const Access& access, const Caller& caller) {
    if (const char* const why = WhyNoPage(access, caller)) return why;
    const std::string own = "http://" + std::string(*caller.host);
    return caller.origin == own ? nullptr : "the stream is for the page of velmar view only";
}
