// Serves the page over HTTP and its data over a WebSocket.
#ifndef VELMAR_VIEW_WEB_SERVER_H
#define VELMAR_VIEW_WEB_SERVER_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "view/FrameHistory.h"
#include "view/StateBoard.h"

class WebServer {
public:
    struct Options {
        std::string address = "127.0.0.1";
        std::uint16_t port = 0;              // 0: any that is free
        std::string token;                   // that whoever comes has to know; empty: none
        bool follows = true;                 // pages begin with the newest frame, and not with the first one
        std::span<const unsigned char> page; // of which / consists, gzip; outlives the server
    };

    // Binds. Throws std::runtime_error that names address and port. Board and history outlive the server.
    WebServer(const Options& options, StateBoard& board, const FrameHistory& history);
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    std::uint16_t Port() const;

    // Runs until Stop: everything below and all that is served happens on the thread that calls it. Connections
    // are closed when it returns, and descriptors are not watched any more. Once.
    void Run();
    void Stop(); // from any thread; before Run as well, which returns at once then

    // On the server's thread: what to do whenever a descriptor is readable (again while it still is), and every so
    // often. To be set before Run. The descriptor stays the caller's. What these throw becomes a line of the log.
    void Watch(int descriptor, std::function<void()> readable);
    void Every(std::chrono::milliseconds period, std::function<void()> act);

    // On the server's thread: frames came into the history.
    void FramesCame();

    std::size_t Pages() const; // that are connected; on the server's thread

private:
    class Work;
    std::unique_ptr<Work> m_work;
};

#endif
