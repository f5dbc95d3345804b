// The wire protocol of the capture server, for whoever reads or writes datagrams: the header that
// begins every datagram, the message types, the framing limits, and the reply record.
//
// Every number is little-endian and stays so: nothing is converted to network byte order. A message is
// cut into datagrams of at most kMaxFragmentPayload bytes behind a header each; all fragments of a
// message repeat its type, total length and sequence number, and leave in order.
//
//   byte  0      2          4            8      9               10               12          16
//         +------+----------+------------+------+---------------+----------------+-----------+---------
//         | magic| reserved | totalLength| type | fragmentIndex | fragmentLength | sequence  | payload
//         +------+----------+------------+------+---------------+----------------+-----------+---------
#ifndef TARVO_WIRE_H
#define TARVO_WIRE_H

#include <cstddef>
#include <cstdint>

struct tagPackageHeader {
    std::uint16_t magic;          // kPackageMagic: byte 0x51, then 0xF9
    std::uint16_t reserved;       // sent as zero, never read
    std::uint32_t totalLength;    // payload bytes of the whole message
    std::uint8_t type;            // a PackageType code
    std::uint8_t fragmentIndex;   // 0 in the first datagram of a message, one more in each next
    std::uint16_t fragmentLength; // payload bytes of this datagram
    std::uint32_t sequence;       // 0: no reply wanted; otherwise the number that pairs a reply with its request
};
static_assert(sizeof(tagPackageHeader) == 16 && alignof(tagPackageHeader) == 4);
static_assert(offsetof(tagPackageHeader, totalLength) == 4 && offsetof(tagPackageHeader, type) == 8);
static_assert(offsetof(tagPackageHeader, fragmentIndex) == 9 && offsetof(tagPackageHeader, fragmentLength) == 10);
static_assert(offsetof(tagPackageHeader, sequence) == 12);

inline constexpr std::uint16_t kPackageMagic = 0xF951;
inline constexpr std::size_t kPackageHeaderSize = sizeof(tagPackageHeader);
inline constexpr std::size_t kMaxFragmentPayload = 1462;
inline constexpr std::size_t kMaxDatagramSize = kPackageHeaderSize + kMaxFragmentPayload;
// The fragment index has 8 bits; a longer message cannot be joined.
inline constexpr std::size_t kMaxFragments = 256;
inline constexpr std::size_t kMaxMessageSize = kMaxFragments * kMaxFragmentPayload;

// The server listens on the command port; the stream goes to the group on the data port.
inline constexpr int kDefaultCommandPort = 5230;
inline constexpr int kDefaultDataPort = 5231;
inline constexpr const char* kDefaultMulticastGroup = "239.239.239.52";
// Bytes of receive buffer that a client asks the system for: the stream waits there while a callback runs.
inline constexpr int kSocketReceiveBuffer = 524288;

enum PackageType : int {
    PackageType_VersionRequest = 0,       // client: the 265-byte version record
    PackageType_VersionReply = 1,         // server: the 265-byte version record
    PackageType_Request = 2,              // client: any bytes
    PackageType_RawReply = 7,             // server: any bytes
    PackageType_Message = 8,              // client: a text with its zero, no reply wanted
    PackageType_Media = 100,              // server: an sPacket image
    PackageType_DataDescriptions = 101,   // client: nothing; server: an encoded description list
    PackageType_ServerDescription = 102,  // client: nothing; server: the 525-byte description
    PackageType_Frame = 103,              // server: an encoded frame
    PackageType_Command = 104,            // both: a text with its zero
    PackageType_MediaReply = 105,         // server: an sPacket image
    PackageType_Hello = 106,              // client: "sayhi" with its zero, no reply wanted
    PackageType_DataDescriptionsEx = 107, // client: nothing
};

// The version record, payload of the version request and of its reply.
inline constexpr std::size_t kVersionRecordSize = 265;
inline constexpr std::size_t kVersionOffset = 260; // 4 bytes in the order in which a version is printed
inline constexpr std::size_t kVersionAcceptedOffset =
    264; // in a reply: nonzero when the server accepts the client

inline constexpr char kHelloText[] = "sayhi";

// The record that holds a reply, and the image that media messages carry.
inline constexpr std::size_t kPacketDataSize = 300000;
struct sPacket {
    std::uint16_t type;     // 1 version reply, 4 server description, 104 text, as sent for media, 0 otherwise
    std::uint16_t reserved; // zero
    std::int32_t length;    // meaningful bytes of data where the type of reply states them, otherwise 0
    unsigned char data[kPacketDataSize];
};
static_assert(sizeof(sPacket) == 300008 && alignof(sPacket) == 4);
static_assert(offsetof(sPacket, length) == 4 && offsetof(sPacket, data) == 8);

#endif
