#include "simulate/FrameFate.h"

#include <fmt/format.h>

std::string FrameFate::Text() const {
    const struct {
        const char* name;
        long long count;
    } columns[] = {{"lost", counts.lost},
                   {"unsent", counts.unsent},
                   {"duplicated", counts.duplicated},
                   {"reordered", counts.reordered},
                   {"corrupted", counts.corrupted},
                   {"corrupted_header", counts.corruptedHeader},
                   {"truncated", counts.truncated},
                   {"truncated_header", counts.truncatedHeader},
                   {"magic", counts.wrongMagic},
                   {"foreign", counts.foreign},
                   {"torn", counts.torn}};
    std::string text = fmt::format("{} datagrams={}", leftWhole ? "whole" : "broken", datagrams);
    for (const auto& [name, count] : columns)
        if (count != 0) text += fmt::format(" {}={}", name, count);
    return text;
}
