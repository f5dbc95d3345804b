// velmar simulate: its options and what they make.
#include <fmt/format.h>

#include <cstdio>
#include <memory>

#include "Commands.h"
#include "TarvoSDKClient.h"
#include "motion/MotionFile.h"
#include "motion/WalkingFigure.h"
#include "simulate/CaptureServer.h"

namespace {

struct Options {
    ServerOptions server;
    Load load;
    std::string motion;
    std::string up = "y";
    std::optional<double> scale;
    std::string version;
    std::string plates;
};

constexpr const char* kFooter =
    "Examples:\n"
    "  $ velmar simulate\n"
    "  $ velmar simulate --motion walk.bvh --rate 240 --skeletons 3\n\n"
    "Clients on this machine find the server at 127.0.0.1. To reach those of a network, name the interface that\n"
    "is in it: velmar simulate --interface eth1\n\n"
    "Positions are metres, z up. Timecodes count 30 frames a second, subframes hundredths of a frame.\n"
    "Text commands of clients: ";

// Empty when the text is four numbers of a byte each.
std::string CheckVersion(const std::string& text) {
    Version version{};
    char rest = 0;
    const bool four = std::sscanf(text.c_str(), "%3hhu.%3hhu.%3hhu.%3hhu%c", &version[0], &version[1], &version[2],
                                  &version[3], &rest) == 4;
    if (four && ToText(version) == text) return {};
    return fmt::format("takes four numbers from 0 to 255 with dots between them, not '{}'", text);
}

Version ParseVersion(const std::string& text) {
    Version version{};
    if (text.empty())
        Quorin_GetVersion(version.data());
    else
        std::sscanf(text.c_str(), "%hhu.%hhu.%hhu.%hhu", &version[0], &version[1], &version[2], &version[3]);
    return version;
}

std::unique_ptr<Motion> MakeMotion(const Options& options) {
    if (options.motion.empty()) return std::make_unique<WalkingFigure>();
    return std::make_unique<MotionFile>(options.motion, options.up == "z" ? UpAxis::kZ : UpAxis::kY,
                                        options.scale);
}

std::vector<PlateLayout> Layouts(const std::string& plates) {
    if (plates == "six") return {PlateLayout::kSix};
    if (plates == "eight") return {PlateLayout::kEight};
    // Eight first: a client keeps one set of unloaded readings, those of the first plate, for all of them.
    if (plates == "both") return {PlateLayout::kEight, PlateLayout::kSix};
    return {};
}

int Run(const Options& options) {
    const std::unique_ptr<Motion> motion = MakeMotion(options);
    // A recording has no ground under its feet.
    const std::string defaultPlates = options.motion.empty() ? "both" : "none";
    const ForcePlateRig plates(Layouts(options.plates.empty() ? defaultPlates : options.plates));
    FrameComposer composer(*motion, plates, options.load);
    ServerOptions server = options.server;
    server.policy.version = ParseVersion(options.version);
    CaptureServer simulated(server, composer);
    simulated.Run();
    fmt::print("{}\n", simulated.Summary());
    return kSuccess;
}

void AddContent(CLI::App& app, Options& o) {
    CLI::Option* const motion =
        app.add_option("--motion", o.motion, "Play this recording (BVH or another animation that Assimp reads)")
            ->check(CLI::ExistingFile);
    app.add_option("--up", o.up, "The recording's upward axis")->check(CLI::IsMember({"y", "z"}))->needs(motion);
    app.add_option("--scale", o.scale, "Metres for each unit of the recording")
        ->check(Number(1e-6, 1e6))
        ->needs(motion);
    app.add_option("--skeletons", o.load.skeletons, "Figures")->check(WholeNumber(0, TARVO_MAX_SKELETONS));
    app.add_option("--rigid-bodies", o.load.rigidBodies, "Rigid bodies besides")
        ->check(WholeNumber(0, TARVO_MAX_RIGID_BODIES));
    app.add_option("--markers", o.load.labeledMarkers, "Labelled markers")
        ->default_str("one at each joint")
        ->check(WholeNumber(0, TARVO_MAX_LABELED_MARKERS));
    app.add_option("--other-markers", o.load.otherMarkers, "Markers without a label")
        ->check(WholeNumber(0, TARVO_MAX_OTHER_MARKERS));
    app.add_option("--marker-sets", o.load.markerSets, "Marker sets")
        ->default_str("one for each figure")
        ->check(WholeNumber(0, TARVO_MAX_MARKER_SETS));
    app.add_option("--analog", o.load.analog, "Analog channels beside those of the force plates")
        ->check(WholeNumber(0, TARVO_MAX_ANALOG_VALUES));
    app.add_option("--force-plates", o.plates, "Force plates under the walking figure")
        ->default_str("both; none with --motion")
        ->check(CLI::IsMember({"six", "eight", "both", "none"}));
}

void AddServer(CLI::App& app, Options& o) {
    app.add_option("--rate", o.server.rate, "Frames a second")->check(Number(0.1, 10000));
    app.add_option("--frames", o.server.frames, "End after so many frames")->check(WholeNumber(1, 1'000'000'000));
    app.add_flag("--refuse", o.server.policy.refuses, "Refuse every client's version");
    app.add_option("--server-version", o.version, "The version that the server states")
        ->default_str("the library's")
        ->check(CLI::Validator(CheckVersion, "A.B.C.D"));
    app.add_option("--interface", o.server.stream.interface,
                   "Stream through the interface of this name or address, to its network")
        ->type_name("INTERFACE")
        ->default_str("the loopback interface");
    app.add_option("--ttl", o.server.stream.hops,
                   "Hops of the stream: 0 keeps it on this machine, 1 in the next network")
        ->default_str("1 with --interface, 0 without")
        ->check(WholeNumber(0, 255));
}

void AddFaults(CLI::App& app, Options& o) {
    Faults& faults = o.server.faults;
    const struct {
        const char* name;
        double& fraction;
        const char* what;
    } fractions[] = {{"--loss", faults.loss, "datagrams that are lost"},
                     {"--duplicate", faults.duplicate, "datagrams that come twice"},
                     {"--reorder", faults.reorder, "datagrams that change places with the next"},
                     {"--corrupt", faults.corrupt, "datagrams that have a byte changed"},
                     {"--truncate", faults.truncate, "datagrams that are cut"},
                     {"--wrong-magic", faults.wrongMagic, "datagrams that have another magic"},
                     {"--foreign", faults.foreign, "datagrams that follow one of another protocol"},
                     {"--lose-frames", faults.loseFrames, "frames that are lost, with all their datagrams"},
                     {"--lose-middle", faults.loseMiddle,
                      "frames of three datagrams or more that lose one, neither the first nor the last"},
                     {"--skip", o.server.stream.skip, "frames before which the server leaves a number out"}};
    for (const auto& [name, fraction, what] : fractions)
        app.add_option(name, fraction, fmt::format("Fraction of the {}", what))
            ->check(Number(0, 1))
            ->group("Faults of the network");
    const auto fault = [&app](const char* name, auto& value, const char* what) {
        return app.add_option(name, value, what)->group("Faults of the network");
    };
    fault("--burst", faults.burst, "Datagrams that are lost together")->check(WholeNumber(1, 100000));
    fault("--seed", faults.seed, "What the faults follow from")->check(WholeNumber(0, 1'000'000'000));
    fault("--restart-every", o.server.stream.restartEvery, "Numbers of frames, after which they begin anew")
        ->check(WholeNumber(1, 1'000'000'000));
    fault("--frame-log", o.server.stream.frameLog,
          "Write a line for each frame: microseconds, number, checksum, whole or broken, counts of its datagrams")
        ->type_name("FILE");
}

} // namespace

void AddSimulate(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("simulate", "Be a capture server: stream frames, answer clients");
    const auto options = std::make_shared<Options>();
    AddContent(*command, *options);
    AddServer(*command, *options);
    AddFaults(*command, *options);
    command->footer(std::string(kFooter) + kTextCommands + ".");
    command->callback([options, &exitCode] { exitCode = Run(*options); });
}
