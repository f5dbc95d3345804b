// Names that any program takes as one word.
#ifndef VELMAR_EXPORT_PLAIN_NAME_H
#define VELMAR_EXPORT_PLAIN_NAME_H

#include <string>
#include <string_view>
#include <vector>

// Letters and digits of ASCII and "_.-" stay, every other byte becomes '_'. Without any byte the stand-in.
std::string PlainName(std::string_view name, std::string_view standIn);

// The same of all, made different. A stand-in has the place in the list behind it, from 1.
std::vector<std::string> PlainNames(std::vector<std::string> names, std::string_view standIn);

// The same as names of files: visible ones, no options of a command, and short enough to have an ending behind
// them.
std::vector<std::string> PlainFileNames(std::vector<std::string> names, std::string_view standIn);

#endif
