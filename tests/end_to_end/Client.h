// A client against a scripted server, with what the log was given.
#ifndef TESTS_END_TO_END_CLIENT_H
#define TESTS_END_TO_END_CLIENT_H

#include "TarvoSDKClient.h"
#include "support/LogLines.h"
#include "support/ScriptedServer.h"

inline char host[] = "127.0.0.1";

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
