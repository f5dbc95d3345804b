// Waiting for the answer to a request.
#ifndef VELMAR_WIRE_REPLY_H
#define VELMAR_WIRE_REPLY_H

#include <chrono>

#include "wire/Messages.h"

// The message with this sequence number; nothing when none comes within the patience or before a signal. `other`
// then tells of the latest datagram that came and was none.
std::optional<Message> AwaitReply(UdpSocket& socket, std::uint32_t sequence, std::chrono::nanoseconds patience,
                                  std::string& other);

#endif
