// The command-line tool around the library: a simulated capture server, and views and recordings of a running
// stream.
#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <string>

#include "Commands.h"
#include "StopSignal.h"
#include "UsageError.h"

namespace {

std::string CommandName(const CLI::App& app) {
    std::string command = "velmar";
    for (const CLI::App* sub : app.get_subcommands()) command += " " + sub->get_name();
    return command;
}

// One line that says which subcommand and what was wrong.
int ReportUsage(const CLI::App& app, const CLI::ParseError& error) {
    const std::string command = CommandName(app);
    std::string what = error.what();
    for (char& character : what)
        if (character == '\n') character = ' ';
    fmt::print(stderr, "{}: {} (see {} --help)\n", command, what, command);
    return kUsage;
}

// The parser would only say that a command is missing.
void CheckCommand(const CLI::App& app, int argc, char** argv) {
    if (argc < 2 || argv[1][0] == '-') return;
    const std::string wanted = argv[1];
    std::string known;
    for (const CLI::App* command : app.get_subcommands(std::function<bool(const CLI::App*)>())) {
        if (command->get_name() == wanted) return;
        known += (known.empty() ? "" : ", ") + command->get_name();
    }
    throw UsageError(fmt::format("no command '{}': it takes one of {}", wanted, known));
}

int Run(int argc, char** argv) {
    CLI::App app("Simulates a motion-capture server, and looks at, records and replays running streams.",
                 "velmar");
    app.require_subcommand(1);
    int exitCode = kSuccess;
    AddSimulate(app, exitCode);
    AddWatch(app, exitCode);
    AddInfo(app, exitCode);
    AddSend(app, exitCode);
    AddRecord(app, exitCode);
    AddReplay(app, exitCode);
    AddExport(app, exitCode);
    AddDoctor(app, exitCode);
    try {
        CheckCommand(app, argc, argv);
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        return ReportUsage(app, error);
    } catch (const UsageError& error) {
        fmt::print(stderr, "{}: {}\n", CommandName(app), error.what());
        return kUsage;
    } catch (const std::exception& error) {
        fmt::print(stderr, "velmar: {}\n", error.what());
        return kFailure;
    }
    return exitCode;
}

} // namespace

int main(int argc, char** argv) {
    StopSignal::Install();
    try {
        return Run(argc, argv);
    } catch (...) { // not even the report of an error could be made
        std::fputs("velmar: out of memory\n", stderr);
        return kFailure;
    }
}
