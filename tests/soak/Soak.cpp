// Several clients in one process, for minutes, at a server behind a network that gets worse: each must be
// given what left the server whole, once and unchanged, and the process must end as light as it was.
#include <fmt/format.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include "Delivery.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* kRow = "    {:8}{:>9}{:>9}{:>9}{:>9}{:>9}{:>10}{:>10}\n";

bool g_passed = true;

void Check(bool holds, const std::string& otherwise) {
    if (!holds) fmt::print("soak: failed: {}\n", otherwise);
    g_passed = g_passed && holds;
}

template <typename Condition>
bool Await(Clock::duration limit, Condition holds) {
    for (const auto deadline = Clock::now() + limit; !holds(); std::this_thread::sleep_for(1ms))
        if (Clock::now() > deadline) return false;
    return true;
}

// Of the stream: bytes that were not received yet and datagrams for which there was no room, by inode.
using StreamSockets = std::map<unsigned long, std::pair<unsigned long, long>>;

StreamSockets ReadStreamSockets() {
    StreamSockets sockets;
    std::ifstream table("/proc/net/udp");
    for (std::string line; std::getline(table, line);) {
        auto [port, inode, waiting, dropped] = std::tuple(0U, 0UL, 0UL, 0L);
        std::sscanf(line.c_str(), "%*d: %*x:%x %*s %*x %*x:%lx %*s %*s %*s %*s %lu %*s %*s %ld", &port, &waiting,
                    &inode, &dropped);
        if (port == kDefaultDataPort) sockets[inode] = {waiting, dropped};
    }
    return sockets;
}

// A client with what it was given, and what it does beside listening.
struct Listener {
    std::string name;
    Clock::duration pause{0}; // in every callback
    std::unique_ptr<TarvoSDKClient> client = std::make_unique<TarvoSDKClient>();
    Record record{};
    std::atomic<long> answered{0}, unanswered{0};
    long sessions = 0;
    unsigned long socket = 0;     // inode
    std::uint64_t joined = ~0ULL; // microseconds of the stream

    static void OnFrame(sFrameOfMocapData* frame, void* userData) {
        static_cast<Listener*>(userData)->record.Take(*frame);
        std::this_thread::sleep_for(static_cast<Listener*>(userData)->pause);
    }

    bool Join() {
        char server[] = "127.0.0.1";
        client->SetDataCallback(OnFrame, this); // the end of a session has cleared the user data
        return client->Initialize(server) == 0;
    }

    bool AwaitFrames(Clock::duration limit) const {
        return Await(limit, [&, enough = record.count + 10] { return record.count >= enough; });
    }

    // Sessions of some frames each; every other one is ended by the destructor.
    void ComeAndGo(const std::stop_token& stop) {
        for (; !stop.stop_requested(); client->Uninitialize()) {
            sessions += Join() && AwaitFrames(1s);
            if (sessions % 2 == 0) client = std::make_unique<TarvoSDKClient>();
        }
    }

    // A list is walked to its last name by encoding it.
    void Ask(const std::stop_token& stop) {
        std::vector<unsigned char> body(kMaxMessageSize);
        for (int i = 0, length = 0; !stop.stop_requested(); ++i) {
            sServerDescription server{};
            sDataDescriptions* list = nullptr;
            const int code =
                i % 4 == 3 ? client->GetDataDescriptions(&list) : client->GetServerDescription(&server);
            ++(code == 0 ? answered : unanswered);
            if (list != nullptr) CAppDataModel().EncodeDescription(list, body.data(), length);
            client->FreeDataDescriptions(list);
            AwaitFrames(100ms);
        }
    }

    // The queue is the process's. Ends when it is told to and nothing is left.
    void ReadQueue(const std::stop_token& stop) {
        for (bool last = false; !last; std::this_thread::sleep_for(1ms)) {
            last = stop.stop_requested();
            while (sFrameOfMocapData* const frame = client->GetLastFrameOfMocapData()) {
                record.Take(*frame);
                client->TarvoFreeFrame(frame);
            }
        }
    }
};

// One network, from the server's start to the last word about every client.
struct Phase {
    double fraction;
    Listener steady[3]{{"steady"}, {"second"}, {"slow", 2ms}};
    Listener guest{"guest"}, queue{"queue"}; // the queue holds frames of all clients
    long lost = 0, duplicated = 0, reordered = 0, corrupted = 0, cut = 0, foreign = 0; // datagrams

    void Run(const char* velmar, int rigidBodies, long frames, long seed) {
        const auto log = std::filesystem::temp_directory_path() / fmt::format("soak-{}.log", getpid());
        // Faults that break a frame share the fraction, so that some frames stay whole.
        const std::string command = fmt::format(
            "exec '{0}' simulate --rate 1000 --frames {1} --rigid-bodies {2} --analog 8 --restart-every 997 "
            "--loss {3} --reorder {3} --corrupt {3} --truncate {3} --duplicate {4} --foreign {4} --burst 3 "
            "--seed {5} --frame-log {6} 2>&1",
            velmar, frames, rigidBodies, fraction / 4, fraction, seed, log.string());
        std::FILE* const server = popen(command.c_str(), "r");
        char line[512] = "";
        std::fgets(line, sizeof line, server); // it serves
        const auto start = Clock::now();
        for (Listener& listener : steady) {
            const StreamSockets before = ReadStreamSockets();
            for (int attempt = 0; attempt < 6 && !listener.Join(); ++attempt) continue;
            listener.joined = static_cast<std::uint64_t>((Clock::now() - start + 1s) / 1us); // and is settled
            for (const auto& [inode, state] : ReadStreamSockets()) // nobody else comes or goes now
                if (!before.contains(inode)) listener.socket = inode;
        }
        std::jthread reader([this](const std::stop_token& stop) { queue.ReadQueue(stop); });
        {
            const std::jthread visitor([this](const std::stop_token& stop) { guest.ComeAndGo(stop); });
            const std::jthread asker([this](const std::stop_token& stop) { steady[0].Ask(stop); });
            while (std::fgets(line, sizeof line, server)) continue; // until it has ended
        }
        Check(pclose(server) == 0, line);
        std::sscanf(line, "faults: %ld%*[^0-9]%ld%*[^0-9]%ld%*[^0-9]%ld%*[^0-9]%ld%*[^0-9]%ld", &lost, &duplicated,
                    &reordered, &corrupted, &cut, &foreign);
        const auto isDry = [](const auto& entry) { return entry.second.first == 0; };
        Check(Await(20s, [&] { return std::ranges::all_of(ReadStreamSockets(), isDry); }), "sockets stay full");
        const StreamSockets sockets = ReadStreamSockets();
        for (Listener& listener : steady) listener.client->Uninitialize();
        reader = {}; // ends
        JudgeAll(ReadFrameLog(std::ifstream(log)), sockets, line);
        std::filesystem::remove(log);
    }

    void JudgeAll(const FrameLog& log, StreamSockets sockets, const char* said) {
        const auto whole = std::ranges::count_if(log, [](const auto& sent) { return sent.second; });
        fmt::print("{:g} %: {} frames, {} whole; queries: {} answered, {} not; guest: {} sessions\n    {}",
                   fraction * 100, log.size(), whole, steady->answered, steady->unanswered, guest.sessions, said);
        const long few = std::min<long>({lost, duplicated, reordered, corrupted, cut, foreign, steady->answered});
        Check(whole >= (fraction > 0.01 ? 100 : 1000) && few > 0, "too little happened");
        fmt::print(kRow, "", "intact", "missing", "dropped", "torn", "altered", "invented", "repeated");
        for (const Listener* one : {&steady[0], &steady[1], &steady[2], &guest, &queue})
            Judge(*one, Compare(one->record, log, one->joined), sockets[one->socket].second);
    }

    void Judge(const Listener& one, const Verdict& v, long dropped) const {
        fmt::print(kRow, one.name, v.intact, v.missing, dropped, v.torn, v.altered, v.invented, v.repeated);
        Check(v.intact > 0 && v.missing <= dropped, one.name + " misses more than the kernel dropped");
        Check(v.altered + v.invented == 0, one.name + " was given what was not sent so");
        const bool once = v.repeated == 0 && v.torn <= lost + reordered + corrupted + cut + dropped;
        Check(once || &one == &queue, one.name + " was given frames again, or more torn ones than there can be");
    }
};

struct Usage {
    long heap, resident, threads, files; // bytes, KiB
};

Usage CurrentUsage() {
    using std::filesystem::directory_iterator;
    malloc_trim(0);
    const auto heap = static_cast<long>(mallinfo2().uordblks + mallinfo2().hblkhd); // 0 under a sanitizer
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    const auto count = [](const char* path) { return std::distance(directory_iterator(path), {}); };
    return {heap, pages * getpagesize() / 1024, count("/proc/self/task"), count("/proc/self/fd")};
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) return fmt::print(stderr, "usage: soak VELMAR_BINARY MINUTES [SEED]\n"), 2;
    // Only the first arena gives back all that is free.
    mallopt(M_ARENA_MAX, 1); // NOLINT(concurrency-mt-unsafe): no other thread runs yet
    const auto frames = static_cast<long>(std::atof(argv[2]) * 60 * 1000 / 4);
    std::vector<Usage> usage{CurrentUsage()};
    for (const auto& [fraction, bodies] : {std::pair{0.01, 12}, {0.05, 5}, {0.1, 12}, {0.3, 5}}) {
        Phase{fraction}.Run(argv[1], bodies, frames, argc > 3 ? std::atol(argv[3]) : 1);
        Await(5s, [&] { return CurrentUsage().threads == usage[0].threads; }); // a joined one may still be listed
        const Usage& now = usage.emplace_back(CurrentUsage());
        fmt::print("    left: heap {}, RSS {} KiB, threads {}, files {}\n", now.heap, now.resident, now.threads,
                   now.files);
        std::fflush(stdout);
        const bool equal = now.threads == usage[1].threads && now.files == usage[1].files;
        const long most = usage[1].resident + std::max(4096L, usage[1].resident / 10);
        Check(equal && now.heap <= usage[1].heap + 4096 && now.resident <= most,
              "threads, files or memory are left");
    }
    fmt::print("soak: {}\n", g_passed ? "passed" : "failed");
    return g_passed ? 0 : 1;
}
