// The media codec: a media body is the image of one sPacket.
#include <algorithm>
#include <cstring>
#include <new>

#include "AppDataModel.h"

int CAppDataModel::EncodeMedia(sPacket* packet, unsigned char* buffer, int& length) {
    std::memcpy(buffer, packet, sizeof *packet);
    length = sizeof *packet;
    return 0;
}

int CAppDataModel::DecodeMedia(const unsigned char* buffer, int& length, sPacket*& packet) {
    return DecodeMedia(buffer, sizeof *packet, length, packet);
}

int CAppDataModel::DecodeMedia(const unsigned char* buffer, unsigned int available, int& length,
                               sPacket*& packet) {
    packet = new (std::nothrow) sPacket;
    if (packet == nullptr) return 1;
    const std::size_t supplied = std::min<std::size_t>(available, sizeof *packet);
    if (supplied > 0) std::memcpy(packet, buffer, supplied); // an empty body may have no address
    std::memset(reinterpret_cast<unsigned char*>(packet) + supplied, 0, sizeof *packet - supplied);
    length = sizeof *packet;
    return 0;
}

int CAppDataModel::ReleaseMedia(sPacket* packet) {
    delete packet;
    return 0;
}
