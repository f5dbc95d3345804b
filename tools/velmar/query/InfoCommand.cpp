// velmar info: what a server says about itself and about what it streams, or what a recording holds.
#include <fmt/format.h>

#include <memory>
#include <stdexcept>

#include "Client.h"
#include "Commands.h"
#include "OwnedDescriptions.h"
#include "capture/RecordingName.h"
#include "query/DescribeAsJson.h"
#include "take/TakeAsJson.h"

namespace {

struct Options {
    std::string source;
    bool json = false;
    bool verbose = false;
};

// Names are bytes of the server's: what is not UTF-8 is replaced.
template <typename Document>
std::string Text(const Document& document) {
    return document.dump(2, ' ', false, Document::error_handler_t::replace);
}

int AskServer(const Options& options) {
    Client client(options.source, options.verbose);
    client.Connect();
    sServerDescription server{};
    if (client->GetServerDescription(&server) != 0)
        throw std::runtime_error(options.source + " does not answer the request for its description");
    sDataDescriptions* list = nullptr;
    if (client->GetDataDescriptions(&list) != 0)
        throw std::runtime_error(options.source + " does not answer the request for its data descriptions");
    const OwnedDescriptions owner(list);
    if (list == nullptr)
        throw std::runtime_error("the data descriptions of " + options.source + " cannot be decoded");
    const FloatJson document = DescribeAsJson(server, *list);
    if (options.json)
        fmt::print("{}\n", Text(document));
    else
        fmt::print("{}", DescribeAsText(document));
    return kSuccess;
}

int ReadRecording(const Options& options) {
    const Take take({options.source, {}, {}, {}});
    const bool isDescribed = take.descriptions.list != nullptr;
    const FloatJson described =
        isDescribed ? DescribeAsJson(take.descriptions.server, *take.descriptions.list) : FloatJson();
    if (options.json) {
        // One document of both, each with the digits that its own numbers have.
        const std::string rest = isDescribed ? Text(described).substr(1) : R"("server":null,"descriptions":null})";
        fmt::print("{{\"recording\": {},{}\n", Text(TakeAsJson(take)), rest);
    } else {
        fmt::print("{}{}", TakeAsText(take), isDescribed ? DescribeAsText(described) : "");
    }
    return take.recording.damage.empty() ? kSuccess : kTruncated;
}

int Run(const Options& options) {
    return NamesRecording(options.source) ? ReadRecording(options) : AskServer(options);
}

} // namespace

void AddInfo(CLI::App& app, int& exitCode) {
    CLI::App* const command =
        app.add_subcommand("info", "Print what a server, or a recording, says about itself and its data");
    const auto options = std::make_shared<Options>();
    command->add_option("SERVER|FILE", options->source, "Address or name of the server, or a capture file")
        ->required();
    command->add_flag("--json", options->json, "As JSON");
    command->add_flag("--verbose", options->verbose, "Show the library's log lines");
    command->footer(
        "Examples:\n  $ velmar info 127.0.0.1 --json\n  $ velmar info walk.pcap\n\n"
        "A file is whatever exists, or has a / or ends in .pcap or .pcapng. Of a recording, frames, rate, and "
        "what\n"
        "was lost and why stand before the descriptions. The exit code is 3 for a damaged one.");
    command->callback([options, &exitCode] { exitCode = Run(*options); });
}
