#include "view/ShownStream.h"

#include <fmt/format.h>

#include <stdexcept>

#include "StatisticsJson.h"
#include "StreamWords.h"
#include "Wording.h"
#include "view/FrameMessage.h"

using Topic = StateBoard::Topic;

namespace {

constexpr std::uint32_t kFeedFrames = 1024; // a second of the fastest streams
constexpr double kSilenceMs = 1000;
constexpr int kTicksBetweenStates = 5;

} // namespace

ShownStream::ShownStream(const Options& options, StateBoard& board)
    : m_server(options.server),
      m_board(board),
      m_frames(options.history),
      m_log(board),
      m_client(options.server, true, [this](int level, const char* line) { m_log.Add(level, line); }),
      m_frame(std::make_unique<sFrameOfMocapData>()),
      m_names(board) {
    constexpr int kWithoutDebug = 3;
    m_client->SetVerbosityLevel(kWithoutDebug);
    if (options.interface) m_client.JoinOn(*options.interface);
    if (Quorin_OpenFeed(m_client.operator->(), kFeedFrames, &m_feed) != 0)
        throw std::runtime_error("out of memory for the stream's frames");
    m_descriptor = Quorin_FeedDescriptor(m_feed);
    if (m_descriptor == -1) {
        Quorin_CloseFeed(m_feed);
        throw std::runtime_error("the system has no descriptor left for the stream");
    }
}

ShownStream::~ShownStream() {
    m_connector.reset();
    Quorin_CloseFeed(m_feed);
}

void ShownStream::TakeFrames() {
    constexpr int kAtATime = 16;
    sForcePlates plates{};
    sFrameTimes times{};
    for (int i = 0; i < kAtATime; ++i) {
        if (Quorin_NextFrame(m_feed, 0, m_frame.get(), &plates, &times) != 0) return;
        Add(*m_frame, plates, times);
        Quorin_FreeFrame(m_frame.get());
    }
}

void ShownStream::Add(const sFrameOfMocapData& frame, const sForcePlates& plates, const sFrameTimes& times) {
    const FrameStamp stamp = StampOf(m_frames.End(), times);
    const bool cameBack = m_latestMs != 0 && stamp.deliveredMs - m_latestMs > kSilenceMs;
    const bool beganAnew = m_frames.End() > 0 && frame.frameNumber < m_number;
    if (cameBack || beganAnew) m_connector->AskAgain();
    m_frames.Add(EncodeFrame(frame, plates, stamp), stamp.arrivalMs, stamp.deliveredMs);
    m_names.Follow(frame);
    m_doubt.Take(plates);
    m_number = frame.frameNumber;
    m_timecode[0] = frame.timecode;
    m_timecode[1] = frame.timecodeSubframe;
    m_latestMs = stamp.deliveredMs;
}

void ShownStream::Tick(std::size_t pages) {
    m_log.Settle();
    if (const auto plates = m_connector->TakePlates()) m_doubt = *plates;
    const sStreamStatistics statistics = m_client.Statistics();
    if (const auto mark = m_losses.Follow(statistics, WallMs())) m_board.Append(StateBoard::List::kLosses, *mark);
    if (m_ticks++ % kTicksBetweenStates != 0) return;
    PublishStatistics(statistics, pages);
    if (m_connector->IsConnected()) PublishStatus(statistics);
}

void ShownStream::PublishStatistics(const sStreamStatistics& statistics, std::size_t pages) {
    nlohmann::ordered_json message{{"rate_hz", Rate(statistics.framesDelivered)}};
    const bool any = m_frames.End() > 0;
    message["frame_number"] = any ? nlohmann::ordered_json(m_number) : nullptr;
    message["timecode"] = any ? nlohmann::ordered_json(TimecodeText(m_timecode[0], m_timecode[1])) : nullptr;
    message.update(AsJson(statistics));
    message["passed_over"] = PassedOver();
    message["pages"] = pages;
    message["history"] = HistoryObject(m_frames);
    m_board.Publish(Topic::kStatistics, message);
}

// Frames a second between the latest frame and the one that was the latest at the call before.
double ShownStream::Rate(std::uint64_t delivered) {
    constexpr double kMsPerSecond = 1000;
    const double ms = m_latestMs - m_rateMs;
    const bool known = m_rateFrames != 0 && delivered > m_rateFrames && ms > 0;
    const double rate = known ? static_cast<double>(delivered - m_rateFrames) * kMsPerSecond / ms : 0;
    m_rateMs = m_latestMs;
    m_rateFrames = delivered;
    return rate;
}

std::uint64_t ShownStream::PassedOver() const {
    sFeedStatistics statistics{};
    statistics.size = sizeof statistics;
    Quorin_GetFeedStatistics(m_feed, &statistics);
    return statistics.dropped;
}

std::vector<std::string> ShownStream::Notices() const {
    const std::string doubt = m_doubt.Text();
    if (doubt.empty()) return {};
    return {doubt + "; start the view anew with nothing on the plates"};
}

void ShownStream::PublishStatus(const sStreamStatistics& statistics) {
    const std::string interface = JoinedInterface(statistics);
    if (statistics.interfaceState == StreamInterfaceGone) {
        m_board.Publish(Topic::kStatus, StatusMessage("gone", interface + " of the stream is gone or down"));
        return;
    }
    const double silence = m_latestMs == 0 ? 0 : NowMs() - m_latestMs;
    if (m_latestMs != 0 && silence < kSilenceMs) {
        m_board.Publish(Topic::kStatus,
                        StatusMessage("streaming", fmt::format("{} over {}", m_server, interface), Notices()));
        return;
    }
    const std::string since = m_latestMs == 0 ? "yet" : fmt::format("for {:.0f} s", silence / 1000);
    m_board.Publish(
        Topic::kStatus,
        StatusMessage("silent", fmt::format("connected to {} over {}, no frame {}. Check: velmar doctor {}",
                                            m_server, interface, since, m_server)));
}
