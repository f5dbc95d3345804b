// What the benchmarks stream: frames of fixed amounts, and description lists, each as a body.
#ifndef BENCH_LOADS_H
#define BENCH_LOADS_H

#include <algorithm>
#include <string>
#include <vector>

using Body = std::vector<unsigned char>;

// How much of everything a frame holds. Bones are of each skeleton and without markers of their own.
struct FrameLoad {
    std::string name;
    int sets = 0, setMarkers = 0;
    int otherMarkers = 0;
    int bodies = 0, bodyMarkers = 0;
    int skeletons = 0, bones = 0;
    int labeledMarkers = 0;
    int analog = 0;

    Body Encode() const;
};

inline const FrameLoad kLoads[] = {
    {"empty"},
    {.name = "body", .bodies = 1, .bodyMarkers = 4},
    {.name = "person", .sets = 1, .setMarkers = 53, .skeletons = 1, .bones = 21, .labeledMarkers = 53},
    {.name = "stage", .skeletons = 10, .bones = 31, .labeledMarkers = 1000, .analog = 32},
    // 374,178 bytes: the last of 256 fragments is not full.
    {"largest", 50, 197, 1000, 1000, 4, 100, 20, 1000, 32},
};

// How the cost of a frame grows.
inline constexpr int kGrowth[] = {1, 10, 100, 200, 500, 1000};
inline FrameLoad Bodies(int count) { return {.name = std::to_string(count), .bodies = count, .bodyMarkers = 4}; }

// A description body of so many figures with their marker sets, labelled markers and force plates.
Body DescribeFigures(int figures, int labeledMarkers, std::size_t plates);

#endif
