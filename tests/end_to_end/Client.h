// A client against a scripted server, with what the log was given.
#ifndef TESTS_END_TO_END_CLIENT_H
#define TESTS_END_TO_END_CLIENT_H

#include "TarvoSDKClient.h"
#include "support/LogLines.h"
#include "support/ScriptedServer.h"

inline char host[] = "127.0.0.1";

// A six-channel plate at 10, 20, 30 whose channels are forces and moments as they stand.
inline Bytes Plate() {
    Body plate;
    plate.U32(70, -1, 0, 0).F32(10.0F, 20.0F, 30.0F).Fill(12);
    for (int i = 0; i < 9; ++i) plate.F32(i % 4 == 0 ? 1.0F : 0.0F);
    for (int i = 0; i < 64; ++i) plate.F32(i % 9 == 0 ? 1.0F : 0.0F);
    return plate.Fill(48).U32(4).Fill(8196).U32(0xABCD).bytes;
}

struct ClientTest : testing::Test {
    ClientTest() { CreateClient(&client); }
    ~ClientTest() override { DestroyClient(client); }

    // What a call comes to when the server answers its request like this.
    int Answer(auto call, int request, int type, const Bytes& payload) {
        auto result = InBackground(call);
        asked = server.ExpectRequest(request);
        server.Reply(asked, type, payload);
        return result.get();
    }
    int Start(void* which) {
        const int result = Answer([which] { return Initialize(which, host); }, 0, 1, kAccepted);
        server.ExpectRequest(106);
        return result;
    }

    LogLines log;
    ScriptedServer server;
    Request asked;
    void* client = nullptr;
    sDataDescriptions* list = nullptr;
};

#endif
