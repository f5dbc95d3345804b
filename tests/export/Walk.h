// A recorded walk over both force plates, with frames that were lost, and what the stream brought of it.
#ifndef TESTS_EXPORT_WALK_H
#define TESTS_EXPORT_WALK_H

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tool/ToolRun.h"

struct Walk {
    static constexpr double kRate = 100;
    static constexpr int kFrames = 420; // the second plate is left by then

    std::string path = Path("walk.pcap");
    std::vector<nlohmann::json> frames;

    static const Walk& Recorded() {
        static const Walk walk;
        return walk;
    }

    // The folder of an export.
    std::string Export(const std::string& options) const {
        static int exports = 0;
        std::string folder = Path("export" + std::to_string(++exports));
        Output("export " + path + " " + options + " -o " + folder, 0);
        return folder;
    }

private:
    Walk() {
        {
            Server server("--rate 100 --lose-frames 0.02 --skip 0.01 --seed 5 --rigid-bodies 1 --other-markers 2");
            Output("record 127.0.0.1 --frames " + std::to_string(kFrames) + " -o " + path, 0);
        }
        std::ifstream lines(Export("--format json") + "/frames.jsonl");
        for (std::string line; std::getline(lines, line);) frames.push_back(nlohmann::json::parse(line));
    }
};

#endif
