// What whoever uses a recording should know of it first.
#ifndef VELMAR_TAKE_CONCERNS_H
#define VELMAR_TAKE_CONCERNS_H

#include <string>
#include <vector>

#include "take/Take.h"

// A line each; none for a recording that is as it should be.
std::vector<std::string> ConcernsOf(const Take& take);

#endif
