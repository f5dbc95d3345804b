// What holds for all frames of a take, in one file beside them.
#ifndef VELMAR_EXPORT_TAKE_JSON_H
#define VELMAR_EXPORT_TAKE_JSON_H

#include "export/OutputFolder.h"
#include "take/Take.h"

// take.json. One that says the same already stays as it is.
void WriteTakeJson(const Take& take, OutputFolder& folder);

#endif
