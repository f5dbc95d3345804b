// An operation's result beside what it logged, as one text to compare.
#ifndef TESTS_SUPPORT_SAID_H
#define TESTS_SUPPORT_SAID_H

#include <gtest/gtest.h>

#include "support/LogLines.h"

// "0", "1 Failed.", "1 Failed:# syserr:9|Close h:#.": handles are written as "#", texts of system errors left out.
// Reports of a system error have to be errors, all others information.
struct Said {
    std::string operator()(int result) {
        static const std::regex handle("(Failed:|h:|NoBlockClient )-?[0-9]+");
        std::string said = std::to_string(result);
        for (const auto& line : log.Lines()) EXPECT_EQ(line.level, line.text.find("syserr") + 1 == 0 ? 1 : 3);
        for (const auto& words : log.Words()) {
            const std::string text = std::regex_replace(words, handle, "$1#");
            said += (said.size() < 3 ? ' ' : '|') + text.substr(0, text.find(' ', text.find("syserr")));
        }
        log.Clear();
        return said;
    }
    LogLines log;
};

#endif
