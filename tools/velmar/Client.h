// A connected client of the library, for the subcommands that look at a server.
#ifndef VELMAR_CLIENT_H
#define VELMAR_CLIENT_H

#include <string>

#include "TarvoSDKClient.h"
#include "TarvoWire.h"

// One at a time: it holds the process-wide log callback.
class Client {
public:
    // With `verbose`, the library's log lines go to standard error.
    Client(std::string server, bool verbose);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // Throws std::runtime_error that says what was tried, or what the server answered.
    void Connect();
    void Disconnect() { m_client.Uninitialize(); }

    TarvoSDKClient* operator->() { return &m_client; }

private:
    std::string m_server;
    TarvoSDKClient m_client;
};

#endif
