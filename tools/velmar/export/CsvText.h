// Values as fields of comma-separated tables.
#ifndef VELMAR_EXPORT_CSV_TEXT_H
#define VELMAR_EXPORT_CSV_TEXT_H

#include <string>
#include <string_view>

#include "FloatJson.h"

// Text is quoted where it would be taken for more than one field. Bytes that are no UTF-8 become U+FFFD.
std::string CsvText(std::string_view bytes);

// What is no number is an empty field.
std::string CsvField(const FloatJson& value);

#endif
