#include "view/ShownRecording.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <map>
#include <stdexcept>

#include "PlateDoubt.h"
#include "StopSignal.h"
#include "Wording.h"
#include "capture/RecordedDescriptions.h"
#include "capture/RecordedFrames.h"
#include "view/FrameMessage.h"
#include "view/LossMarks.h"
#include "view/StateMessages.h"

using Topic = StateBoard::Topic;

ShownRecording::ShownRecording(const std::string& path, StateBoard& board) : m_board(board) {
    const Recording recording = Survey(path);
    if (!recording.damage.empty()) m_notices.push_back(recording.damage);
    const RecordedDescriptions descriptions(recording);
    Keep(path, descriptions.list.get());
    if (StopSignal::Arrived()) throw std::runtime_error("stopped before the end of " + path);
    if (m_frames.End() == 0) throw std::runtime_error(path + ": none of its frames can be decoded");
    AppendLosses();
    m_board.Publish(Topic::kDescriptions,
                    DescriptionsMessage(descriptions.server, descriptions.list.get(),
                                        recording.descriptions ? "the recorded descriptions cannot be decoded"
                                                               : "the recording holds no descriptions"));
    m_board.Publish(Topic::kStatus, StatusMessage("recording", Summary(), m_notices));
    PublishStatistics(0);
}

void ShownRecording::Keep(const std::string& path, const sDataDescriptions* descriptions) {
    RecordedFrames frames(path, descriptions);
    SetNames names(m_board);
    PlateDoubt doubt(descriptions);
    while (const RecordedFrame* const item = frames.Next()) {
        FrameStamp stamp;
        stamp.place = m_frames.End();
        stamp.arrivalMs = std::chrono::duration<double, std::milli>(item->time).count();
        Follow(frames, item->frame->frameNumber, stamp.arrivalMs);
        names.Follow(*item->frame);
        doubt.Take(item->plates);
        m_frames.Add(*EncodeFrame(*item->frame, item->plates, stamp), stamp.arrivalMs);
    }
    if (!doubt.Text().empty()) m_notices.push_back(doubt.Text() + " (see velmar export --unloaded)");
    if (frames.Undecodable() > 0)
        m_notices.push_back(
            fmt::format("{} could not be decoded", Counted(frames.Undecodable(), "recorded frame")));
}

// What is missing before this frame. Only a number that does not follow the one before tells of anything.
void ShownRecording::Follow(const RecordedFrames& frames, int number, double ms) {
    const bool follows = m_frames.End() == 0 || number == static_cast<long long>(m_latest) + 1;
    m_latest = number;
    if (follows) return;
    m_statistics = frames.Statistics();
    if (auto mark = m_losses.Follow(m_statistics, ms)) m_marks.push_back(*std::move(mark));
}

// Where there are more marks than a list keeps, those that are near each other are one.
void ShownRecording::AppendLosses() {
    std::map<double, nlohmann::json> sums; // by time
    const bool all = m_marks.size() <= StateBoard::kMostEntries;
    const double first = m_frames.ArrivalMs(0);
    const double width = DurationMs() / (StateBoard::kMostEntries - 1);
    for (const nlohmann::json& mark : m_marks) {
        const double ms = mark["ms"];
        const double place = all || !(width > 0) ? ms : first + std::floor((ms - first) / width) * width;
        nlohmann::json& sum = sums.try_emplace(place, LossMark(place, 0, 0, 0, 0)).first->second;
        for (const char* const cause : {"incomplete", "undecodable", "never_seen"})
            sum[cause] = sum[cause].get<std::uint64_t>() + mark[cause].get<std::uint64_t>();
    }
    for (const auto& [ms, sum] : sums) m_board.Append(StateBoard::List::kLosses, sum);
    m_marks.clear();
}

double ShownRecording::DurationMs() const {
    return m_frames.ArrivalMs(m_frames.End() - 1) - m_frames.ArrivalMs(0);
}

std::string ShownRecording::Summary() const {
    return fmt::format("{} in {:.1f} s", Counted(m_frames.End(), "frame"), DurationMs() / 1000);
}

void ShownRecording::PublishStatistics(std::size_t pages) {
    const double ms = DurationMs();
    const double rate = ms > 0 ? static_cast<double>(m_frames.End() - 1) * 1000 / ms : 0;
    m_board.Publish(Topic::kStatistics, {{"rate_hz", rate},
                                         {"frames_delivered", m_frames.End()},
                                         {"missing_incomplete", m_statistics.missingIncomplete},
                                         {"missing_undecodable", m_statistics.missingUndecodable},
                                         {"missing_never_seen", m_statistics.missingNeverSeen},
                                         {"passed_over", 0},
                                         {"pages", pages},
                                         {"history", HistoryObject(m_frames)}});
}
