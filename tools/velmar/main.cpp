// The command-line tool around the library: a simulated capture server, and views and recordings of a running
// stream.
#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <system_error>

#include "Commands.h"
#include "HelpFormat.h"
#include "StopSignal.h"
#include "TarvoSDKClient.h"
#include "UsageError.h"
#include "wire/Messages.h"

namespace {

constexpr const char* kFooter =
    "Examples:\n"
    "  $ velmar simulate --rate 240 --skeletons 3\n"
    "  $ velmar watch 127.0.0.1 --seconds 10\n"
    "  $ velmar doctor 192.168.1.10\n\n"
    "velmar COMMAND --help explains a command. The exit code is 0 for success, 1 when a command failed,\n"
    "2 when it was used wrongly, 3 when it did what a damaged recording allows.";

std::string LibraryVersion() {
    unsigned char version[4];
    Quorin_GetVersion(version);
    return VersionText(version);
}

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

void CheckOutput() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw std::system_error(errno, std::generic_category(), "the standard output cannot be written");
}

int Run(int argc, char** argv) {
    CLI::App app("Simulates a motion-capture server, and looks at, records and replays running streams.",
                 "velmar");
    app.require_subcommand(1);
    app.formatter(std::make_shared<HelpFormat>());
    app.option_defaults()->always_capture_default();
    app.set_version_flag("--version", "velmar " + LibraryVersion(), "Print the version and exit");
    app.footer(kFooter);
    int exitCode = kSuccess;
    AddSimulate(app, exitCode);
    AddWatch(app, exitCode);
#ifdef VELMAR_WITH_VIEW
    AddView(app, exitCode);
#endif
    AddInfo(app, exitCode);
    AddSend(app, exitCode);
    AddRecord(app, exitCode);
    AddReplay(app, exitCode);
    AddCut(app, exitCode);
    AddExport(app, exitCode);
    AddDoctor(app, exitCode);
    try {
        CheckCommand(app, argc, argv);
        app.parse(argc, argv);
        CheckOutput();
    } catch (const CLI::Success& asked) { // for the help or the version
        return app.exit(asked);
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
