#include "doctor/Remedies.h"

#include <fmt/format.h>

std::string LastingSettings(const std::string& settings) {
    return fmt::format("sysctl -w {0}; to keep it: printf '%s\\n' {0} >>/etc/sysctl.d/90-velmar.conf", settings);
}

std::string LastingSetting(const std::string& name, long long value) {
    return LastingSettings(fmt::format("{}={}", name, value));
}

std::string JoiningOn(const std::string& interface) {
    return fmt::format(
        "in an application, Quorin_SetStreamInterface(client, \"{0}\") before Initialize; with velmar watch and "
        "velmar doctor, --interface {0}",
        interface);
}

std::string LastingMulticast(const std::string& interface) {
    return fmt::format(
        "ip link set {0} up multicast on; to keep it: with systemd-networkd, Multicast=yes in the section [Link] "
        "of the .network file of {0}; in /etc/network/interfaces, a line up ip link set {0} multicast on under "
        "iface {0}",
        interface);
}

std::string LastingMtu(const std::string& interface, long long bytes) {
    return fmt::format(
        "ip link set {0} mtu {1}; to keep it: with NetworkManager, nmcli connection modify \"$(nmcli -g "
        "GENERAL.CONNECTION device show {0})\" 802-3-ethernet.mtu {1}; with systemd-networkd, MTUBytes={1} in the "
        "section [Link] of the .network file of {0}; in /etc/network/interfaces, a line mtu {1} under iface {0}",
        interface, bytes);
}
