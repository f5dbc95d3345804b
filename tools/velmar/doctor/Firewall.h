// The packet filter of this host.
#ifndef VELMAR_DOCTOR_FIREWALL_H
#define VELMAR_DOCTOR_FIREWALL_H

#include <optional>

// Rules of all families, also of the older kind, of which each table counts as one; nothing when they may not be
// read.
std::optional<int> CountFirewallRules();

#endif
