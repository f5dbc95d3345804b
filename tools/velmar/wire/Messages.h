// Messages as the tool sends and receives them: cutting into datagrams and joining.
#ifndef VELMAR_WIRE_MESSAGES_H
#define VELMAR_WIRE_MESSAGES_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TarvoWire.h"
#include "wire/UdpSocket.h"

struct Message {
    int type = 0;
    std::uint32_t sequence = 0;
    std::vector<unsigned char> payload;
};

// "2.5.28.75" for the 4 bytes of a version record.
std::string VersionText(const unsigned char* version);

// Cuts a message into datagrams and gives them to `send` in their order, until it refuses one. True when all
// were taken. The payload must not be longer than kMaxMessageSize.
bool CutMessage(int type, std::uint32_t sequence, Bytes payload, const std::function<bool(Bytes)>& send);

// Puts the messages of several senders together, each sender's fragments in their order.
class MessageJoiner {
public:
    // The message that this datagram completes. Nothing while fragments are missing, and when the datagram
    // cannot be used: `problem` then says why.
    std::optional<Message> Take(const sockaddr_in& from, Bytes datagram, std::string& problem);

private:
    struct Partial {
        Message message;
        unsigned int nextFragment = 0;
    };
    using Sender = std::pair<in_addr_t, in_port_t>;

    static constexpr std::size_t kMaxSenders = 64; // whoever sends beyond them waits for the map to be emptied

    std::map<Sender, Partial> m_partials;
};

#endif
