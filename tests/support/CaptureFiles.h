// Capture files, made up byte by byte.
#ifndef TESTS_SUPPORT_CAPTURE_FILES_H
#define TESTS_SUPPORT_CAPTURE_FILES_H

#include <string>
#include <vector>

#include "support/ScriptedServer.h"

inline std::string Chars(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
inline std::string Big(std::size_t value) { return {static_cast<char>(value >> 8U), static_cast<char>(value)}; }

// A datagram with a whole message, as it follows the IP header: the empty frame with number 7, or another.
inline std::string Udp(const Bytes& message = FrameBody(7), int type = 103, std::size_t from = 40000) {
    using namespace std::string_literals;
    const Bytes datagram = Cut(type, 0, message, message.size()).front().Wire();
    return Big(from) + Big(from == 5230 ? 40000 : 5231) + Big(8 + datagram.size()) + "\0\0"s + Chars(datagram);
}

inline std::string Packet(int protocol = 17, std::size_t fragment = 0, const std::string& body = Udp()) {
    using namespace std::string_literals;
    return "\x45\0"s + Big(20 + body.size()) + "\0\x07"s + Big(fragment) + "\x40"s + static_cast<char>(protocol) +
           "\0\0\x0A\0\0\x01\xEF\xEF\xEF\x34"s + body;
}

// Eight packets a second, or more.
inline std::string Capture(int linkType, const std::vector<std::string>& packets, std::size_t perSecond = 8) {
    Body file;
    file.U32(0xA1B2C3D4).U16(2, 4).U32(0, 0, 65536, linkType);
    for (std::size_t i = 0; i < packets.size(); ++i)
        file.U32(i / perSecond, i % perSecond * (1'000'000 / perSecond), packets[i].size(), packets[i].size())
            .Put(Text(packets[i]));
    return Chars(file.bytes);
}

inline std::string FramePacket(const Bytes& frame) { return Packet(17, 0, Udp(frame)); }
inline std::string AnswerPacket(int type, const Bytes& body) { return Packet(17, 0, Udp(body, type, 5230)); }

// The description of a simulated server.
inline Bytes SimulatedServer(float rate) {
    return Body().Text("velmar simulated capture server", 256).Fill(264).F32(rate).U8(1).bytes;
}

#endif
