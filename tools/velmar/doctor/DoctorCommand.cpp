// velmar doctor: why no data arrives.
#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Commands.h"
#include "StopSignal.h"
#include "doctor/Checks.h"

namespace {

struct Options {
    std::string server;
    bool json = false;
};

struct Check {
    const char* name;
    Finding (*examine)(Examination&);
};

// What explains a failure stands before what shows it: the first one is the verdict, and the others would only say
// what follows from it. Of several warnings the first of the worst is.
constexpr Check kChecks[] = {
    {"name", CheckName},
    {"route to the server", CheckRouteToServer},
    {"route to the group", CheckRouteToGroup},
    {"server", CheckServer},
    {"data port", CheckDataPort},
    {"group membership", CheckMembership},
    {"arrivals", CheckArrivals},
    {"receive buffer", CheckReceiveBuffer},
    {"reverse-path filter", CheckReversePath},
    {"IP fragments", CheckIpFragments},
    {"firewall", CheckFirewall},
    {"interface", CheckInterface},
    {"protocol", CheckProtocol},
    {"message fragments", CheckMessageFragments},
    {"frames", CheckFrames},
};

const char* ToText(State state) {
    switch (state) {
        case State::kOk: return "ok";
        case State::kUnknown: return "unknown";
        case State::kWarning:
        case State::kLoss: return "warning";
        default: return "failure";
    }
}

void PrintLine(const char* name, const Finding& finding) {
    fmt::print("{:<8} {}: {}\n", ToText(finding.state), name, finding.text);
    std::fflush(stdout); // the next one may take its time
}

int Run(const Options& options) {
    Examination examination{options.server};
    nlohmann::json checks = nlohmann::json::array();
    Finding verdict{State::kOk, "", "none", "nothing is wrong with the stream"};
    for (const Check& check : kChecks) {
        const Finding finding = check.examine(examination);
        if (StopSignal::Arrived()) throw std::runtime_error("stopped before the examination was complete");
        checks.push_back({{"name", check.name}, {"state", ToText(finding.state)}, {"text", finding.text}});
        if (!options.json) PrintLine(check.name, finding);
        if (finding.state >= State::kWarning && finding.state > verdict.state) verdict = finding;
        if (finding.state == State::kFailure) break;
    }
    const nlohmann::json document{{"checks", checks}, {"cause", verdict.cause}, {"remedy", verdict.remedy}};
    // The name of the server is whatever was typed: what is not UTF-8 is replaced.
    if (options.json)
        fmt::print("{}\n", document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
    else
        fmt::print("\nCause:  {}\nRemedy: {}\n", verdict.cause, verdict.remedy);
    return verdict.state >= State::kLoss ? kFailure : kSuccess;
}

} // namespace

void AddDoctor(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("doctor", "Find out why no data arrives from a server");
    const auto options = std::make_shared<Options>();
    command->add_option("SERVER", options->server, "Address or name of the server")->required();
    command->add_flag("--json", options->json, "As JSON: the checks, the cause and the remedy");
    command->footer(
        "Examples:\n  $ velmar doctor 127.0.0.1\n\n"
        "Each line is ok, unknown (the system does not tell this user), warning or failure. Ends with one cause "
        "and its\n"
        "remedy: of the failure, or else of the worst warning. The exit code is 1 when something failed or "
        "frames\n"
        "are lost, and 0 otherwise.");
    command->callback([options, &exitCode] { exitCode = Run(*options); });
}
