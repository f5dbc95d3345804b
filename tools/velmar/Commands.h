// The subcommands. Each adds itself to the application; when it is chosen, it runs and sets the exit code.
#ifndef VELMAR_COMMANDS_H
#define VELMAR_COMMANDS_H

#include <CLI/CLI.hpp>

enum ExitCode {
    kSuccess = 0,
    kFailure = 1,
    kUsage = 2,
    kTruncated = 3 // done with what can be read of a damaged recording
};

void AddSimulate(CLI::App& app, int& exitCode);
void AddWatch(CLI::App& app, int& exitCode);
void AddView(CLI::App& app, int& exitCode); // where the view is built
void AddInfo(CLI::App& app, int& exitCode);
void AddSend(CLI::App& app, int& exitCode);
void AddRecord(CLI::App& app, int& exitCode);
void AddReplay(CLI::App& app, int& exitCode);
void AddCut(CLI::App& app, int& exitCode);
void AddExport(CLI::App& app, int& exitCode);
void AddDoctor(CLI::App& app, int& exitCode);

// A validator that names the accepted values. For numbers, and for whole numbers.
CLI::Validator Number(double lowest, double highest);
CLI::Validator WholeNumber(long long lowest, long long highest);

#endif
