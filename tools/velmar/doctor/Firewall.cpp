#include "doctor/Firewall.h"

#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>

namespace {

struct RulesRequest {
    nlmsghdr header;
    nfgenmsg family;
};

// Counts the rules in a part of the answer; false at its end, and `refused` then tells why.
bool CountIn(const unsigned char* part, std::size_t size, int& rules, bool& refused) {
    constexpr int kNewRule = (NFNL_SUBSYS_NFTABLES << 8) | NFT_MSG_NEWRULE;
    nlmsghdr header{};
    for (std::size_t at = 0; at + sizeof header <= size; at += NLMSG_ALIGN(header.nlmsg_len)) {
        std::memcpy(&header, part + at, sizeof header);
        if (header.nlmsg_type == NLMSG_ERROR) refused = true;
        if (header.nlmsg_type == NLMSG_ERROR || header.nlmsg_type == NLMSG_DONE) return false;
        if (header.nlmsg_type == kNewRule) ++rules;
        if (header.nlmsg_len < sizeof header) return false;
    }
    return true;
}

std::optional<int> CountNetlinkRules() {
    const int netlink = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_NETFILTER);
    if (netlink == -1) return std::nullopt;
    const timeval patience{1, 0}; // no signal would end the wait
    setsockopt(netlink, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    RulesRequest request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = (NFNL_SUBSYS_NFTABLES << 8) | NFT_MSG_GETRULE;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.family.version = NFNETLINK_V0;
    alignas(nlmsghdr) unsigned char part[32768];
    int rules = 0;
    bool refused = send(netlink, &request, sizeof request, 0) != sizeof request;
    while (!refused) {
        const ssize_t size = recv(netlink, part, sizeof part, 0);
        refused = size <= 0;
        if (!refused && !CountIn(part, static_cast<std::size_t>(size), rules, refused)) break;
    }
    close(netlink);
    return refused ? std::nullopt : std::optional(rules);
}

} // namespace

std::optional<int> CountFirewallRules() {
    std::optional<int> rules = CountNetlinkRules();
    std::ifstream tables("/proc/net/ip_tables_names");
    for (std::string name; std::getline(tables, name);) rules = rules.value_or(0) + 1;
    return rules;
}
