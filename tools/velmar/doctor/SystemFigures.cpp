#include "doctor/SystemFigures.h"

#include <fmt/format.h>

#include <fstream>
#include <sstream>

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

} // namespace

Counters ReadCounters() {
    Counters counters;
    AddCounters("/proc/net/snmp", counters);
    AddCounters("/proc/net/netstat", counters);
    return counters;
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
