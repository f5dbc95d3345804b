// An endpoint with what its frame callback and the log were given.
#ifndef TESTS_TRANSPORT_ENDPOINT_H
#define TESTS_TRANSPORT_ENDPOINT_H

#include <memory>

#include "platform/AppCallBack.h"
#include "support/LogLines.h"
#include "support/ScriptedServer.h"
#include "transport/CommandServer.h"

using Application::CAppCallBack;

struct EndpointTest : testing::Test {
    EndpointTest() {
        CAppCallBack::SetStreamFunc([](sFrameOfMocapData* frame, void* /*userData*/) {
            int number = frame->frameNumber;
            for (int i = 0; i < frame->otherMarkerCount; ++i)
                if (frame->otherMarkers[i].x != static_cast<float>(i)) number = -1;
            frames.Add(number);
        });
    }
    ~EndpointTest() override { CAppCallBack::SetStreamFunc(nullptr); }

    int Start() { return endpoint.Start(nullptr, "127.0.0.1", server.Port(), true); }

    // As if they had been received, but each datagram ends where its memory ends. Not to be mixed with
    // datagrams that come through the socket of the same endpoint.
    static void Deliver(CCommandServer& to, const std::vector<Datagram>& datagrams) {
        for (const Datagram& datagram : datagrams) {
            Bytes wire = datagram.Wire();
            wire.shrink_to_fit();
            to.DisposeStream("127.0.0.1", 5230, wire.data(), static_cast<unsigned int>(wire.size()));
        }
    }

    LogLines log;
    ScriptedServer server{0};
    CCommandServer endpoint;
    inline static Arrivals<int> frames; // by number; -1 for one whose markers are not what FrameBody wrote
};

#endif
