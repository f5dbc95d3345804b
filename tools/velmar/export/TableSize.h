// Recordings whose numbers or names would make a table grow out of all proportion.
#ifndef VELMAR_EXPORT_TABLE_SIZE_H
#define VELMAR_EXPORT_TABLE_SIZE_H

#include "take/Take.h"

// A lost frame takes a row as any other, and a marker of a single frame a column. Throws std::runtime_error that
// names the recording where so many rows of so many values are far more than what was recorded.
void CheckTableSize(const Take& take, long long rows, std::size_t valuesInRow);

#endif
