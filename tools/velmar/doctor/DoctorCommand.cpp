// velmar doctor: why no data arrives.
#include <fmt/chrono.h>
#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Commands.h"
#include "StopSignal.h"
#include "doctor/Checks.h"
#include "doctor/FaultWatch.h"

namespace {

struct Options {
    std::string server;
    std::optional<std::string> interface;
    std::optional<double> seconds;
    bool json = false;
    bool watches = false;
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
    {"interface to join", CheckInterfaceToJoin},
    {"server", CheckServer},
    {"data port", CheckDataPort},
    {"group membership", CheckMembership},
    {"client", CheckClient},
    {"arrivals", CheckArrivals},
    {"receive buffer", CheckReceiveBuffer},
    {"reverse-path filter", CheckReversePath},
    {"IP fragments", CheckIpFragments},
    {"firewall", CheckFirewall},
    {"interface", CheckInterface},
    {"protocol", CheckProtocol},
    {"message fragments", CheckMessageFragments},
    {"frames", CheckFrames},
    {"losses", CheckLosses},
    {"numbers", CheckNumbers},
    {"pauses", CheckPauses},
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

// Of all checks, up to a failure, the one that explains the most.
Finding Examine(Examination& examination, bool prints, nlohmann::json& checks) {
    Finding verdict{State::kOk, "", "none", "nothing is wrong with the stream"};
    for (const Check& check : kChecks) {
        const Finding finding = check.examine(examination);
        if (StopSignal::Arrived()) throw std::runtime_error("stopped before the examination was complete");
        checks.push_back({{"name", check.name}, {"state", ToText(finding.state)}, {"text", finding.text}});
        if (prints) PrintLine(check.name, finding);
        if (finding.state >= State::kWarning && finding.state > verdict.state) verdict = finding;
        if (finding.state == State::kFailure) break;
    }
    return verdict;
}

// Until a signal, or so long. Whether there were faults.
bool Watch(Client& client, std::optional<double> seconds) {
    using Clock = FaultWatch::Clock;
    constexpr std::chrono::milliseconds kTick(100);
    const auto start = Clock::now();
    const auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
    FaultWatch faults(client.Statistics(), start);
    fmt::print("\nWatching; every fault is told as it comes and goes.\n");
    while (!StopSignal::Arrived() && !(seconds && elapsed() >= *seconds)) {
        for (const std::string& line : faults.Follow(client.Statistics(), Clock::now()))
            fmt::print("{:%H:%M:%S} {}\n", fmt::localtime(std::time(nullptr)), line);
        std::fflush(stdout);
        StopSignal::Sleep(kTick);
    }
    fmt::print("\nWatched for {:.0f} s: {}\n", elapsed(), faults.Summary());
    return faults.SawFaults();
}

int Run(const Options& options) {
    Examination examination{options.server, options.interface};
    if (options.interface) examination.client.JoinOn(*options.interface);
    nlohmann::json checks = nlohmann::json::array();
    const Finding verdict = Examine(examination, !options.json, checks);
    const nlohmann::json document{{"checks", checks}, {"cause", verdict.cause}, {"remedy", verdict.remedy}};
    // The name of the server is whatever was typed: what is not UTF-8 is replaced.
    if (options.json)
        fmt::print("{}\n", document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
    else
        fmt::print("\nCause:  {}\nRemedy: {}\n", verdict.cause, verdict.remedy);
    const bool isJoined = examination.client.Statistics().interfaceState != StreamNotJoined;
    const bool sawFaults = options.watches && isJoined && Watch(examination.client, options.seconds);
    return sawFaults || verdict.state >= State::kLoss ? kFailure : kSuccess;
}

} // namespace

void AddDoctor(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("doctor", "Find out why no data arrives from a server");
    const auto options = std::make_shared<Options>();
    command->add_option("SERVER", options->server, "Address or name of the server")->required();
    command
        ->add_option("--interface", options->interface, "Look at the stream on this interface, by name or address")
        ->type_name("NAME|ADDRESS")
        ->default_str("the one that faces the server");
    CLI::Option* const json =
        command->add_flag("--json", options->json, "As JSON: the checks, the cause and the remedy");
    CLI::Option* const watch =
        command->add_flag("--watch", options->watches, "Go on, and tell faults as they come and go")
            ->excludes(json);
    command->add_option("--seconds", options->seconds, "Watch so long")->check(Number(0.1, 1e6))->needs(watch);
    command->footer(
        "Examples:\n  $ velmar doctor 127.0.0.1\n  $ velmar doctor 127.0.0.1 --watch\n\n"
        "Each line is ok, unknown (the system does not tell this user), warning or failure. Ends with one cause "
        "and its\n"
        "remedy: of the failure, or else of the worst warning. The exit code is 1 when something failed or "
        "frames\n"
        "are lost, and 0 otherwise.\n\n"
        "With --watch it goes on where a client could start: a line with the time for lost frames and their "
        "cause,\n"
        "for silence, for numbers that go back and for an interface that goes, and when that is over.");
    command->callback([options, &exitCode] { exitCode = Run(*options); });
}
