#include "doctor/SystemFigures.h"

#include <fmt/format.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include "wire/UdpSocket.h"

namespace {

// Pairs of lines: a group with the names of its counters, and the same group with their values.
void AddCounters(const char* path, Counters& counters) {
    std::ifstream file(path);
    for (std::string names, values, group, name; std::getline(file, names) && std::getline(file, values);) {
        std::istringstream nameWords(names);
        std::istringstream valueWords(values);
        nameWords >> group;
        valueWords >> group;
        group.back() = '.';
        for (long long value = 0; nameWords >> name && valueWords >> value;) counters[group + name] = value;
    }
}

int MtuOf(const UdpSocket& socket, const char* name) {
    ifreq request{};
    std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
    return ioctl(socket.Handle(), SIOCGIFMTU, &request) == 0 ? request.ifr_mtu : 0;
}

} // namespace

Counters ReadCounters() {
    Counters counters;
    AddCounters("/proc/net/snmp", counters);
    AddCounters("/proc/net/netstat", counters);
    return counters;
}

std::vector<Interface> MulticastInterfaces() {
    std::vector<Interface> interfaces;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return interfaces;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, &freeifaddrs);
    const UdpSocket socket;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        const bool isLink = entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_PACKET;
        const bool carries = (entry->ifa_flags & (IFF_MULTICAST | IFF_LOOPBACK)) != 0;
        if (isLink && carries && (entry->ifa_flags & IFF_UP) != 0)
            interfaces.push_back(
                {if_nametoindex(entry->ifa_name), entry->ifa_name, MtuOf(socket, entry->ifa_name)});
    }
    return interfaces;
}

std::optional<bool> IsMember(const std::string& interface, in_addr group) {
    std::ifstream file("/proc/net/igmp");
    if (!file) return std::nullopt;
    const std::string wanted = fmt::format("{:08X}", group.s_addr);
    std::string current;
    for (std::string line, first, second; std::getline(file, line);) {
        std::istringstream(line) >> first >> second;
        if (line.front() != '\t' && line.front() != ' ')
            current = second.substr(0, second.find(':')); // a line of an interface; a long name touches the colon
        else if (first == wanted && current == interface)
            return true;
    }
    return false;
}

long long DropsOnPort(int port) {
    std::ifstream file("/proc/net/udp");
    const std::string wanted = fmt::format(":{:04X}", port);
    long long drops = 0;
    for (std::string line, number, local, last; std::getline(file, line);) {
        std::istringstream words(line);
        for (words >> number >> local; words >> last;) continue; // to the last column, which has them
        if (local.ends_with(wanted)) drops += std::stoll(last);
    }
    return drops;
}

long long Setting(const std::string& path) {
    long long value = 0;
    std::ifstream("/proc/sys/" + path) >> value;
    return value;
}
