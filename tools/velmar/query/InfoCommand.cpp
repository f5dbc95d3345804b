// velmar info: what a server says about itself and about what it streams.
#include <fmt/format.h>

#include <memory>
#include <stdexcept>

#include "Client.h"
#include "Commands.h"
#include "OwnedDescriptions.h"
#include "query/DescribeAsJson.h"

namespace {

struct Options {
    std::string server;
    bool json = false;
    bool verbose = false;
};

int Run(const Options& options) {
    Client client(options.server, options.verbose);
    client.Connect();
    sServerDescription server{};
    if (client->GetServerDescription(&server) != 0)
        throw std::runtime_error(options.server + " does not answer the request for its description");
    sDataDescriptions* list = nullptr;
    if (client->GetDataDescriptions(&list) != 0)
        throw std::runtime_error(options.server + " does not answer the request for its data descriptions");
    const OwnedDescriptions owner(list);
    if (list == nullptr)
        throw std::runtime_error("the data descriptions of " + options.server + " cannot be decoded");
    const FloatJson document = DescribeAsJson(server, *list);
    // Names are bytes of the server's: what is not UTF-8 is replaced.
    if (options.json)
        fmt::print("{}\n", document.dump(2, ' ', false, FloatJson::error_handler_t::replace));
    else
        fmt::print("{}", DescribeAsText(document));
    return kSuccess;
}

} // namespace

void AddInfo(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("info", "Print a server's description and its data descriptions");
    const auto options = std::make_shared<Options>();
    command->add_option("SERVER", options->server, "Address or name of the server")->required();
    command->add_flag("--json", options->json, "As JSON");
    command->add_flag("--verbose", options->verbose, "Show the library's log lines");
    command->footer("Examples:\n  $ velmar info 127.0.0.1 --json");
    command->callback([options, &exitCode] { exitCode = Run(*options); });
}
