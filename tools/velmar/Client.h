// A connected client of the library, for the subcommands that look at a server.
#ifndef VELMAR_CLIENT_H
#define VELMAR_CLIENT_H

#include <functional>
#include <string>

#include "TarvoSDKClient.h"
#include "TarvoStream.h"
#include "TarvoWire.h"

// One at a time: it holds the process-wide log callback.
class Client {
public:
    using LogSink = std::function<void(int level, const char* line)>;
    // With `verbose`, the library's log lines go to `log`, on any thread, one at a time; without one, to standard
    // error.
    Client(std::string server, bool verbose, LogSink log = {});
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // The interface on which Connect joins the stream, by its name or address, as the option --interface has it.
    // Throws UsageError when this machine has none.
    void JoinOn(const std::string& interface);

    // 0, or the result of the library's Initialize, and the reason if its log has one.
    int Start(std::string& reason);
    // The same, but throws std::runtime_error that says what was tried, or what the server answered.
    void Connect();
    void Disconnect() { m_client.Uninitialize(); }

    // What has happened to the stream.
    sStreamStatistics Statistics();

    TarvoSDKClient* operator->() { return &m_client; }

private:
    std::string m_server;
    TarvoSDKClient m_client;
};

#endif
