// Everything that a live view asks its server, on a thread of its own: each question may take seconds.
#ifndef VELMAR_VIEW_CONNECTOR_H
#define VELMAR_VIEW_CONNECTOR_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "Client.h"
#include "PlateDoubt.h"
#include "view/StateBoard.h"

// Connects, again and again until the server is there; then publishes what the server says of its frames, and
// starts the force plates with it.
class Connector {
public:
    Connector(Client& client, std::string server, StateBoard& board);
    ~Connector(); // ends the client's session; waits for an attempt to connect

    bool IsConnected() const { return m_connected; }
    bool IsTrying() const { return m_trying; } // to connect: for up to 5 s nothing ends that

    // Anew where the force plates lie, when that has become known; once for each answer.
    std::optional<PlateDoubt> TakePlates();

    // The server may have become another one: asks it again. From any thread.
    void AskAgain();

private:
    void Run();
    bool Connect();
    void PublishFailure(int result, const std::string& reason);
    bool Describe();                          // whether the server has answered
    bool Wait(std::chrono::seconds duration); // false when it is over

    Client& m_client;
    std::string m_server;
    StateBoard& m_board;
    std::atomic<bool> m_connected{false};
    std::atomic<bool> m_trying{true};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isOver = false; // guarded by m_mutex, as is the next one
    bool m_asks = false;
    std::optional<PlateDoubt> m_plates; // guarded too
    std::thread m_thread;               // the last member: it uses all others
};

#endif
