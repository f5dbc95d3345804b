// What the chapters of the benchmark share. Each appends its rows.
#ifndef BENCH_END_TO_END_BENCH_H
#define BENCH_END_TO_END_BENCH_H

#include "Row.h"
#include "end_to_end/Stream.h"

struct Bench {
    BareLoop& bare;
    StreamClient& client;
    bool quick;
    std::vector<Row> rows{};

    int Repetitions() const { return quick ? 3 : 9; }

    // A figure of a load, measured in turn on both sides.
    template <typename Measure>
    void InTurn(const std::string& what, const FrameLoad& load, int repetitions, Measure measure) {
        Row row{what, load.name, "us", {}, {}, ""};
        for (int i = 0; i < repetitions; ++i) {
            row.ours.push_back(measure(client));
            row.floor.push_back(measure(bare));
        }
        rows.push_back(row);
    }

    // Repetitions of a measurement in turn on both sides, of whose values the median and the 99th percentile are
    // kept.
    template <typename Ours, typename Floor>
    void InTurn(const std::string& what, const std::string& load, Ours ours, Floor floor) {
        Row median{what + " p50", load, "us", {}, {}, ""};
        Row tail{what + " p99", load, "us", {}, {}, ""};
        const auto keep = [](const std::vector<double>& values, auto& p50, auto& p99) {
            p50.push_back(Quantile(values, 0.5));
            p99.push_back(Quantile(values, 0.99));
        };
        for (int i = 0; i < Repetitions(); ++i) {
            keep(ours(), median.ours, tail.ours);
            keep(floor(), median.floor, tail.floor);
        }
        rows.push_back(median);
        rows.push_back(tail);
    }
};

void MeasureReceivePath(Bench& bench);
void MeasurePaced(Bench& bench);
void MeasureQueued(Bench& bench);
void MeasureFeeds(Bench& bench);
void MeasureLatency(Bench& bench);
void MeasureRoundTrip(Bench& bench);
void MeasureSustainedRate(Bench& bench);
void MeasureFootprint(Bench& bench);

// Of a client alone, before anything else has been streamed.
std::vector<Row> MeasureMemory();

// Processor microseconds of the receive thread for a frame when the next one leaves as soon as the last one was
// received.
double ReceiveInStep(FrameSender& sender, Receiver& receiver, int frames);
// The same at a rate.
double ReceivePaced(FrameSender& sender, Receiver& receiver, int frames, int rate);
// The same of frames that wait in the socket when the receiver comes to it; in each round as many as there is room
// for in every socket.
double ReceiveQueued(FrameSender& sender, Receiver& receiver, int rounds);

#endif
