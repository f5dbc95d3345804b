// A server's stream, as pages look at it.
#ifndef VELMAR_VIEW_SHOWN_STREAM_H
#define VELMAR_VIEW_SHOWN_STREAM_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "Client.h"
#include "view/Connector.h"
#include "view/LossMarks.h"
#include "view/PageLog.h"
#include "view/RecentFrames.h"
#include "view/StateBoard.h"
#include "view/StateMessages.h"

// For one thread, except where its client calls.
class ShownStream {
public:
    struct Options {
        std::string server;
        std::optional<std::string> interface;
        std::chrono::duration<double> history{};
    };

    // Throws UsageError for an interface that this machine does not have, and std::runtime_error when memory or
    // descriptors ran out.
    ShownStream(const Options& options, StateBoard& board);
    ~ShownStream();
    ShownStream(const ShownStream&) = delete;
    ShownStream& operator=(const ShownStream&) = delete;

    // Connects, on a thread of its own.
    void Start() { m_connector = std::make_unique<Connector>(m_client, m_server, m_board); }

    const FrameHistory& History() const { return m_frames; }

    // Readable while frames wait.
    int Descriptor() const { return m_descriptor; }

    // Takes waiting frames into the history, so many at most that pages are served in between.
    void TakeFrames(); // started

    // To be called every tenth of a second: marks what was lost, and tells where the stream stands.
    void Tick(std::size_t pages); // started

    // Whether an attempt to connect is on its way, which only its end ends, after some seconds.
    bool EndsLate() const { return m_connector->IsTrying(); }

private:
    void Add(const sFrameOfMocapData& frame, const sForcePlates& plates, const sFrameTimes& times);
    void PublishStatistics(const sStreamStatistics& statistics, std::size_t pages);
    void PublishStatus(const sStreamStatistics& statistics);
    std::vector<std::string> Notices() const;
    double Rate(std::uint64_t delivered);
    std::uint64_t PassedOver() const;

    std::string m_server;
    StateBoard& m_board;
    RecentFrames m_frames;
    PageLog m_log;
    Client m_client;
    void* m_feed = nullptr;
    int m_descriptor = -1;
    std::unique_ptr<sFrameOfMocapData> m_frame; // the record that frames are read into
    SetNames m_names;
    LossMarks m_losses;
    PlateDoubt m_doubt;
    int m_ticks = 0;
    int m_number = 0; // of the latest frame
    std::uint32_t m_timecode[2]{};
    double m_latestMs = 0; // its delivery, on the program's clock
    double m_rateMs = 0;   // the same when the rate was last taken
    std::uint64_t m_rateFrames = 0;
    std::unique_ptr<Connector> m_connector; // the last member: its questions use the client
};

#endif
