// The options that say which part of a recording is meant.
#ifndef VELMAR_TAKE_RANGE_OPTIONS_H
#define VELMAR_TAKE_RANGE_OPTIONS_H

#include <CLI/CLI.hpp>

#include "take/TakeRange.h"

// --from and --to. The range must outlive the command.
void AddRange(CLI::App& command, TakeRange& range);

// --unloaded. So must the span.
void AddUnloaded(CLI::App& command, std::optional<FrameSpan>& span);

#endif
