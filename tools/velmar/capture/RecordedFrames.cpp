#include "capture/RecordedFrames.h"

#include "AppDataModel.h"
#include "capture/Recording.h"

void RecordedFrames::Release::operator()(sFrameOfMocapData* frame) const { CAppDataModel().ReleaseMocap(frame); }

RecordedFrames::RecordedFrames(const std::string& path, const sDataDescriptions* descriptions) : m_file(path) {
    m_plates.InitPlateManager(descriptions);
}

const RecordedFrame* RecordedFrames::Next() {
    std::string problem;
    while (const auto datagram = m_file.Next()) {
        if (!IsStream(*datagram)) continue;
        const auto message = m_joiner.Take(datagram->from, datagram->payload, problem);
        if (!message || message->type != PackageType_Frame || !Decode(message->payload)) continue;
        m_item.time = datagram->time;
        return &m_item;
    }
    return nullptr;
}

bool RecordedFrames::Decode(const std::vector<unsigned char>& body) {
    sFrameOfMocapData* decoded = nullptr;
    int length = 0;
    const int result =
        CAppDataModel().DecodeMocap(body.data(), static_cast<unsigned int>(body.size()), length, decoded);
    m_frame.reset(decoded);
    if (result != 0) {
        ++m_undecodable;
        return false;
    }
    m_item.frame = decoded;
    m_item.plates = {};
    m_plates.GetSForcePlates(decoded, &m_item.plates);
    return true;
}
