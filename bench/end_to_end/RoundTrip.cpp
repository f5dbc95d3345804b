// A query's round trip: requester and receive thread on one core, the answering thread on the other.
#include <fcntl.h>

#include <array>

#include "TarvoSDKClient.h"
#include "end_to_end/Bench.h"
#include "wire/Messages.h"

namespace {

template <typename Query>
std::vector<double> Time(Query query) {
    std::vector<double> times(300);
    for (double& time : times) {
        const std::int64_t start = Now();
        query();
        time = static_cast<double>(Now() - start) / 1e3;
    }
    return times;
}

// The floor: a request and an answer of the same sizes through a socket, on the requester's own thread.
void AskBare(UdpSocket& socket) {
    const auto send = [&](Bytes request) { return socket.SendTo(ServerAddress(), request); };
    std::array<unsigned char, kMaxDatagramSize> answer;
    sockaddr_in from{};
    Require(CutMessage(PackageType_ServerDescription, 2, {}, send) && socket.Receive(answer, from), "no answer");
}

} // namespace

void MeasureRoundTrip(Bench& bench) {
    PinTo(Core::kReceiver);
    UdpSocket socket;
    fcntl(socket.Handle(), F_SETFL, 0); // blocking
    sServerDescription description;
    const auto ask = [&] { Require(GetServerDescription(bench.client.Handle(), &description) == 0, "no reply"); };
    bench.InTurn(
        "query", "server description", [&] { return Time(ask); }, [&] { return Time([&] { AskBare(socket); }); });
    PinTo(Core::kSender);
}
