// An operation's result beside what it logged, as one text to compare.
#ifndef TESTS_SUPPORT_SAID_H
#define TESTS_SUPPORT_SAID_H

#include <gtest/gtest.h>

#include "support/LogLines.h"

// "0", "1 Failed.", "1 Failed:# syserr:9|Close h:#.": handles are written as "#", texts of system errors left out.
// Reports of a system error have to be errors, all others information.
struct Said {
    std::string operator()(int result);
    LogLines log;
};

#endif
