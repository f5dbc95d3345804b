#include "view/Connector.h"

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

#include "OwnedDescriptions.h"
#include "view/StateMessages.h"

using namespace std::chrono_literals;
using Topic = StateBoard::Topic;

Connector::Connector(Client& client, std::string server, StateBoard& board)
    : m_client(client), m_server(std::move(server)), m_board(board), m_thread([this] { Run(); }) {}

Connector::~Connector() {
    {
        const std::lock_guard guard(m_mutex);
        m_isOver = true;
    }
    m_changed.notify_all();
    if (m_connected) m_client.Disconnect(); // no question is waited for
    m_thread.join();
}

void Connector::AskAgain() {
    {
        const std::lock_guard guard(m_mutex);
        m_asks = true;
    }
    m_changed.notify_all();
}

std::optional<PlateDoubt> Connector::TakePlates() {
    const std::lock_guard guard(m_mutex);
    return std::exchange(m_plates, std::nullopt);
}

bool Connector::Wait(std::chrono::seconds duration) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, duration, [this] { return m_isOver; });
    return !m_isOver;
}

void Connector::Run() {
    if (!Connect()) return;
    constexpr auto kAtLeast = 2s;   // between questions, however often frames seem to begin anew
    constexpr auto kPatience = 10s; // with a server that does not describe itself
    for (;;) {
        const bool answered = Describe();
        if (!Wait(answered ? kAtLeast : kPatience)) return;
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_isOver || m_asks || !answered; });
        if (m_isOver) return;
        m_asks = false;
    }
}

// Whether it is connected; false when it is over.
bool Connector::Connect() {
    m_board.Publish(Topic::kStatus, StatusMessage("connecting", "asking " + m_server));
    do {
        std::string reason;
        int result = 1;
        m_trying = true;
        try {
            result = m_client.Start(reason);
        } catch (const std::runtime_error& error) { // its name leads nowhere any more
            reason = error.what();
        }
        m_connected = result == 0;
        m_trying = false;
        if (m_connected) return true;
        PublishFailure(result, reason);
    } while (Wait(1s));
    return false;
}

void Connector::PublishFailure(int result, const std::string& reason) {
    constexpr int kRefused = 10;
    const bool refused = result == kRefused;
    const std::string text = fmt::format("{} {}; trying again. Check: velmar doctor {}", m_server,
                                         refused ? "refuses this client" : "does not answer", m_server);
    std::vector<std::string> notices;
    if (!reason.empty()) notices.push_back(reason);
    m_board.Publish(Topic::kStatus, StatusMessage(refused ? "refused" : "connecting", text, notices));
}

bool Connector::Describe() {
    sServerDescription server{};
    const bool knowsServer = m_client->GetServerDescription(&server) == 0;
    sDataDescriptions* answer = nullptr;
    const bool answered = m_client->GetDataDescriptions(&answer) == 0;
    const OwnedDescriptions list(answer);
    const char* const reason = answered ? "the server's descriptions cannot be decoded"
                                        : "the server does not answer when asked for its descriptions";
    m_board.Publish(Topic::kDescriptions, DescriptionsMessage(server, list.get(), reason));
    if (list != nullptr) {
        {
            const std::lock_guard guard(m_mutex);
            m_plates.emplace(list.get());
        }
        m_client->WaitForForcePlateInit(1); // one attempt
    }
    return knowsServer && answered;
}
