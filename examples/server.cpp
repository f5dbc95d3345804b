// A capture server in its simplest form: accepts every client, describes one marker set, and streams its one
// marker going round a circle, 100 times a second. Usage: server; ends on Ctrl-C.
//
// AppDataModel.h has the codec of messages, TarvoWire.h the header of datagrams. A server with more to say cuts a
// message into pieces of kMaxFragmentPayload bytes, each behind a header with its index.
#include <AppDataModel.h>
#include <arpa/inet.h>
#include <poll.h>

#include <cmath>
#include <cstdio>
#include <cstring>

static int server; // the socket of all requests, replies and frames

static sockaddr_in Address(const char* host, int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(port));
    address.sin_addr.s_addr = inet_addr(host);
    return address;
}

static void Send(sockaddr_in to, int type, unsigned int sequence, const unsigned char* body, int length) {
    const auto size = static_cast<std::uint16_t>(length);
    const tagPackageHeader header{kPackageMagic, 0, size, static_cast<std::uint8_t>(type), 0, size, sequence};
    unsigned char datagram[kMaxDatagramSize];
    std::memcpy(datagram, &header, sizeof header);
    std::memcpy(datagram + sizeof header, body, size);
    sendto(server, datagram, sizeof header + size, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

static void Answer(sDataDescriptions& list) {
    unsigned char request[kMaxDatagramSize];
    sockaddr_in client{};
    socklen_t size = sizeof client;
    if (recvfrom(server, request, sizeof request, 0, reinterpret_cast<sockaddr*>(&client), &size) <
        ssize_t{kPackageHeaderSize})
        return;
    tagPackageHeader header{};
    std::memcpy(&header, request, sizeof header);
    unsigned char body[kMaxFragmentPayload] = {};
    int length = kVersionRecordSize;
    body[kVersionAcceptedOffset] = 1;
    if (header.type == PackageType_VersionRequest)
        Send(client, PackageType_VersionReply, header.sequence, body, length);
    if (header.type != PackageType_DataDescriptions) return;
    CAppDataModel().EncodeDescription(&list, body, length);
    Send(client, header.type, header.sequence, body, length);
}

int main() {
    server = socket(AF_INET, SOCK_DGRAM, 0);
    const sockaddr_in here = Address("0.0.0.0", kDefaultCommandPort);
    if (bind(server, reinterpret_cast<const sockaddr*>(&here), sizeof here) != 0) {
        std::perror("the command port cannot be had");
        return 1;
    }
    char name[TARVO_NAME_SIZE] = "tip";
    char* names[] = {name};
    sMarkerSetInfo set{"Circle", 1, names};
    static sDataDescriptions list{1, {{DescMarkerSet, &set}}};
    static sFrameOfMocapData frame{};
    sTriple marker{0, 0, 1};
    frame.markerSetCount = 1;
    frame.markerSets[0] = {"Circle", 1, &marker};
    for (pollfd requests{server, POLLIN, 0};; ++frame.frameNumber) {
        while (poll(&requests, 1, 10) > 0) Answer(list);
        marker.x = std::cos(0.02F * static_cast<float>(frame.frameNumber));
        marker.y = std::sin(0.02F * static_cast<float>(frame.frameNumber));
        unsigned char body[kMaxFragmentPayload];
        int length = 0;
        CAppDataModel().EncodeMocap(&frame, body, length);
        Send(Address(kDefaultMulticastGroup, kDefaultDataPort), PackageType_Frame, 0, body, length);
    }
}
