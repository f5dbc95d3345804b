// The name in a record's buffer, which need not end with a zero.
#ifndef VELMAR_NAME_TEXT_H
#define VELMAR_NAME_TEXT_H

#include <cstring>
#include <string>

#include "TarvoSDKClient.h"

inline std::string NameText(const char (&name)[TARVO_NAME_SIZE]) { return {name, strnlen(name, sizeof name)}; }

#endif
