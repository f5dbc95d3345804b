#include "watch/StreamStatistics.h"

#include <algorithm>
#include <cmath>

#include "Wording.h"

namespace {

double Rate(long long frames, double seconds) { return seconds > 0 ? static_cast<double>(frames) / seconds : 0; }

} // namespace

double MeanRate(const StreamState& state) { return Rate(state.frames - 1, state.secondsOfStream); }

double RateMeter::Next(const StreamState& state) {
    const double rate = Rate(state.frames - m_frames, state.secondsOfStream - m_seconds);
    m_frames = state.frames;
    m_seconds = state.secondsOfStream;
    return rate;
}

void StreamStatistics::OnFrame(sFrameOfMocapData* frame, void* self) {
    static_cast<StreamStatistics*>(self)->Count(*frame);
}

void StreamStatistics::OnForcePlates(sForcePlates* plates, void* self) {
    auto& statistics = *static_cast<StreamStatistics*>(self);
    const std::lock_guard guard(statistics.m_mutex);
    StreamState& state = statistics.m_state;
    state.plates = *plates;
    statistics.m_doubt.Take(*plates);
    for (int i = 0; i < plates->plateCount; ++i) {
        const auto& f = plates->plates[i].force;
        float& peak = state.peakForce[static_cast<std::size_t>(i)];
        peak = std::max(peak, std::hypot(f[0], f[1], f[2]));
    }
}

void StreamStatistics::Know(const sDataDescriptions& descriptions) {
    const std::lock_guard guard(m_mutex);
    m_doubt = PlateDoubt(&descriptions);
}

void StreamStatistics::Count(const sFrameOfMocapData& frame) {
    const std::lock_guard guard(m_mutex);
    StreamState& s = m_state;
    m_latest = Clock::now();
    if (s.frames == 0) m_first = m_latest;
    ++s.frames;
    s.frameNumber = frame.frameNumber;
    s.counts = {frame.markerSetCount,
                0,
                frame.otherMarkerCount,
                frame.rigidBodyCount,
                std::max(frame.skeletonCount, 0),
                0,
                frame.labeledMarkerCount,
                frame.analogCount};
    for (int i = 0; i < frame.markerSetCount; ++i) s.counts.setMarkers += frame.markerSets[i].markerCount;
    for (int i = 0; i < frame.skeletonCount; ++i) s.counts.bones += frame.skeletons[i].rigidBodyCount;
    s.timecode = TimecodeText(frame.timecode, frame.timecodeSubframe);
    if (frame.skeletonCount > 0 && frame.skeletons[0].rigidBodyCount > 0) Follow(frame.skeletons[0]);
    m_arrived.notify_all();
}

void StreamStatistics::Follow(const sSkeletonSample& skeleton) {
    const float(&p)[3] = skeleton.rigidBodies[0].position;
    if (m_state.root) {
        const std::array<float, 3>& before = *m_state.root;
        m_state.rootPath += static_cast<double>(std::hypot(p[0] - before[0], p[1] - before[1], p[2] - before[2]));
    }
    m_state.root = {p[0], p[1], p[2]};
}

StreamState StreamStatistics::State() const {
    const std::lock_guard guard(m_mutex);
    StreamState state = m_state;
    state.plateDoubt = m_doubt.Text();
    state.secondsOfStream = std::chrono::duration<double>(m_latest - m_first).count();
    state.silence = std::chrono::duration<double>(Clock::now() - m_latest).count();
    return state;
}

void StreamStatistics::AwaitFrames(long long frames, std::chrono::duration<double> limit) const {
    std::unique_lock lock(m_mutex);
    m_arrived.wait_for(lock, limit, [&] { return m_state.frames >= frames; });
}
