// A capture file that an input tells: bodies that are taken up, changed and sent, step by step.
#ifndef TESTS_FUZZ_RECORDING_STORY_H
#define TESTS_FUZZ_RECORDING_STORY_H

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <vector>

#include "AppDataModel.h"
#include "capture/CaptureWriter.h"
#include "fuzz/Input.h"
#include "motion/WalkingFigure.h"
#include "simulate/DescriptionBody.h"
#include "simulate/ServerRecords.h"
#include "wire/Addresses.h"
#include "wire/Messages.h"

class RecordingStory {
public:
    using Blob = std::vector<unsigned char>;
    static constexpr int kFrames = 3; // known ones, behind the list that describes them
    enum Step { kBody, kKnown, kPatch, kCut, kSend, kAgain, kRun, kNumber, kTime, kDatagram, kServer, kSteps };

    // Frames of the walking figure, a description list of its plates, sets and bones, and the same of little.
    static const std::vector<Blob>& KnownBodies() {
        static const std::vector<Blob> bodies = [] {
            const WalkingFigure figure;
            const ForcePlateRig rig({PlateLayout::kEight, PlateLayout::kSix});
            std::vector<Blob> made;
            for (const Load& load : {Load{}, Load{0, 1, 1, 3, 2, 1}}) {
                FrameComposer composer(figure, rig, load);
                made.push_back(DescribeStream(composer).bytes);
                for (int i = 0; i < kFrames; ++i) {
                    Blob& frame = made.emplace_back(composer.BodySize());
                    int length = 0;
                    CAppDataModel().EncodeMocap(&composer.ComposeAt(i, 2.9 + 0.1 * i), frame.data(), length);
                }
            }
            return made;
        }();
        return bodies;
    }

    explicit RecordingStory(const std::string& path) : m_writer(path) {}

    void Tell(Input& input) {
        for (int steps = 0; !input.IsEmpty() && m_sent < kMostBytes; ++steps) Happen(input);
    }

private:
    static constexpr std::size_t kMostBytes = 500'000; // of messages: runs are to be short

    void Happen(Input& input) {
        switch (input.Byte() % kSteps) {
            case kBody: Hold(input.Take(input.Value<std::uint16_t>())); break;
            case kKnown: m_hand = KnownBodies()[input.Byte() % KnownBodies().size()]; break;
            case kPatch: Patch(input.Value<std::uint16_t>(), input.Take(input.Byte())); break;
            case kCut: m_hand.resize(std::min<std::size_t>(m_hand.size(), input.Value<std::uint16_t>())); break;
            case kSend: Send(input.Byte()); break;
            case kAgain: SendNumber(Number() + static_cast<std::uint32_t>(input.Value<std::int8_t>())); break;
            case kRun:
                for (int left = input.Byte(); left > 0 && m_sent < kMostBytes; --left) SendNumber(Number() + 1);
                break;
            case kNumber: SendNumber(input.Value<std::uint32_t>()); break;
            case kTime: m_step = Steps()[input.Byte() % Steps().size()]; break;
            case kDatagram: Write(input.Take(input.Value<std::uint16_t>()), input.Byte() % 2 == 0); break;
            default: SendServer(input.Value<float>());
        }
    }

    static const std::vector<std::chrono::nanoseconds>& Steps() {
        using namespace std::chrono_literals;
        static const std::vector<std::chrono::nanoseconds> steps{
            8333333ns, 0ns, 1ns, 10ms, 1s, 30s, 60s, -8ms, -30s, 8760h, -8760h, 1000us, 87600h, 16666us, 100us};
        return steps;
    }

    void Hold(const std::string& bytes) { m_hand.assign(bytes.begin(), bytes.end()); }
    void Patch(std::size_t at, const std::string& bytes) {
        for (std::size_t i = 0; i < bytes.size() && at + i < m_hand.size(); ++i)
            m_hand[at + i] = static_cast<unsigned char>(bytes[i]);
    }

    // A frame's body begins with its number.
    std::uint32_t Number() const {
        std::uint32_t number = 0;
        if (m_hand.size() >= sizeof number) std::memcpy(&number, m_hand.data(), sizeof number);
        return number;
    }
    void SendNumber(std::uint32_t number) {
        if (m_hand.size() >= sizeof number) std::memcpy(m_hand.data(), &number, sizeof number);
        Send(PackageType_Frame);
    }

    void SendServer(float frameRate) {
        ServerRecord record{};
        std::copy_n(kServerName, sizeof kServerName, record.name);
        record.frameRate = frameRate;
        Hold({reinterpret_cast<const char*>(&record), TARVO_SERVER_DESCRIPTION_SIZE});
        Send(PackageType_ServerDescription);
    }

    void Send(int type) {
        if (m_hand.size() > kMaxMessageSize) return;
        constexpr std::chrono::hours kFarthest{24 * 365 * 250}; // that nanoseconds count
        if (type == PackageType_Frame)
            m_time = std::clamp<std::chrono::nanoseconds>(m_time + m_step, -kFarthest, kFarthest);
        CutMessage(type, 1, m_hand, [&](Bytes datagram) {
            Write({reinterpret_cast<const char*>(datagram.data()), datagram.size()}, type == PackageType_Frame);
            return true;
        });
    }

    void Write(const std::string& payload, bool isStream) {
        constexpr std::size_t kHeaders = 100; // about: of the file and of the packet
        constexpr in_addr kServer{0x0100000A};
        constexpr in_port_t kAny = 40000;
        m_sent += payload.size() + kHeaders;
        m_writer.Write({m_time,
                        MakeAddress(kServer, isStream ? kAny : in_port_t{kDefaultCommandPort}),
                        isStream ? GroupAddress() : MakeAddress(kServer, kAny),
                        {payload.begin(), payload.end()}});
    }

    CaptureWriter m_writer;
    Blob m_hand;
    std::chrono::nanoseconds m_time{std::chrono::seconds(1'000'000'000)};
    std::chrono::nanoseconds m_step{8'333'333};
    std::size_t m_sent = 0;
};

#endif
