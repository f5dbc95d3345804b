// Memberships of a multicast group on single interfaces, beside those that the facade makes when it opens a
// socket.
#ifndef TARVO_PLATFORM_GROUP_MEMBERSHIP_H
#define TARVO_PLATFORM_GROUP_MEMBERSHIP_H

// Nothing here writes to the log. The group is a dotted text, interfaces are addresses in network byte order.
namespace System::GroupMembership {

inline constexpr unsigned int kDefaultInterface = 0; // the one that the system's routes name

// True when the socket is a member then, also when it was before.
bool Join(int socket, const char* group, unsigned int interface);
void Leave(int socket, const char* group, unsigned int interface);

} // namespace System::GroupMembership

#endif
