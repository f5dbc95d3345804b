// How --help shows an option: with what it takes and what holds without it.
#ifndef VELMAR_HELP_FORMAT_H
#define VELMAR_HELP_FORMAT_H

#include <CLI/CLI.hpp>

// The man pages and the completion of the shell are made from this text too.
class HelpFormat : public CLI::Formatter {
public:
    HelpFormat() { column_width(38); }

    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
};

#endif
