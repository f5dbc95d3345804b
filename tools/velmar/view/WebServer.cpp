#include "view/WebServer.h"

#include <fmt/format.h>

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <list>
#include <stdexcept>

#include "view/WebConnection.h"

class WebServer::Work {
public:
    Work(const Options& options, StateBoard& board, const FrameHistory& history);
    ~Work();
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

    std::uint16_t Port() const { return m_house.access.port; }
    std::size_t Pages() const { return m_house.pages; }
    void Run();
    void Stop() { m_context.stop(); }
    void Watch(int descriptor, std::function<void()> readable);
    void Every(std::chrono::milliseconds period, std::function<void()> act);
    void PumpAll();

private:
    // Beyond the first number of connections come told so, beyond the second wait to be let in.
    static constexpr std::size_t kMostServed = 64;
    static constexpr std::size_t kMostGuests = 128;
    static constexpr std::chrono::milliseconds kNextAccept{100}; // after one that failed, as without descriptors

    struct Watched {
        asio::posix::stream_descriptor descriptor;
        std::function<void()> readable;
        bool waits = false;
    };
    struct Repeated {
        asio::steady_timer timer;
        std::chrono::milliseconds period;
        std::function<void()> act;
        bool waits = false;
    };

    bool IsOpen() const { return m_acceptor.is_open(); } // until Close
    void Listen(const Options& options);
    void Wake();
    void WaitForAll();
    void WaitFor(Watched& watched);
    void WaitFor(Repeated& repeated);
    void Accept();
    void OnAccepted(beast::error_code error, tcp::socket socket);
    void AcceptLater();
    void Call(const std::function<void()>& act) noexcept;
    void Close();

    StateBoard& m_board;
    WebHouse m_house; // outlives the context, whose operations end guests
    asio::io_context m_context{1};
    asio::executor_work_guard<asio::io_context::executor_type> m_goesOn{m_context.get_executor()};
    tcp::acceptor m_acceptor{m_context};
    asio::steady_timer m_nextAccept{m_context};
    bool m_accepting = false;
    std::list<Watched> m_watched;
    std::list<Repeated> m_repeated;
    std::atomic<bool> m_woken{false};
};

WebServer::Work::Work(const Options& options, StateBoard& board, const FrameHistory& history)
    : m_board(board), m_house{board, history, options.page, options.follows, {}, [this] { Accept(); }, {}} {
    Listen(options);
    m_house.access = {m_acceptor.local_endpoint().address().to_string(), m_acceptor.local_endpoint().port(),
                      options.token};
    board.OnChange([this] { Wake(); });
}

WebServer::Work::~Work() {
    try {
        m_board.OnChange({});
        Close();
    } catch (...) { // whoever is still there goes with the sockets
    }
}

void WebServer::Work::Listen(const Options& options) {
    beast::error_code error;
    const auto address = asio::ip::make_address(options.address, error);
    const tcp::endpoint endpoint(address, options.port);
    if (!error) m_acceptor.open(endpoint.protocol(), error);
    if (!error) m_acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error) m_acceptor.bind(endpoint, error);
    if (!error) m_acceptor.listen(tcp::acceptor::max_listen_connections, error);
    if (error)
        throw std::runtime_error(
            fmt::format("nothing can listen on {} port {}: {}", options.address, options.port, error.message()));
}

// Many changes are one.
void WebServer::Work::Wake() {
    if (m_woken.exchange(true)) return;
    try {
        asio::post(m_context, [this] {
            m_woken = false;
            PumpAll();
        });
    } catch (const std::bad_alloc&) { // they are told with the next frame
        m_woken = false;
    }
}

void WebServer::Work::Run() {
    while (!m_context.stopped()) {
        try {
            WaitForAll();
            m_context.run();
        } catch (...) { // memory ran out; whose operation that was has ended with it
        }
    }
    Close();
}

void WebServer::Work::WaitForAll() {
    Accept();
    for (Watched& watched : m_watched) WaitFor(watched);
    for (Repeated& repeated : m_repeated) WaitFor(repeated);
}

void WebServer::Work::Watch(int descriptor, std::function<void()> readable) {
    m_watched.push_back({asio::posix::stream_descriptor(m_context), std::move(readable)});
    m_watched.back().descriptor.assign(descriptor);
}

void WebServer::Work::WaitFor(Watched& watched) {
    if (watched.waits) return;
    watched.descriptor.async_wait(asio::posix::stream_descriptor::wait_read, [&](beast::error_code error) {
        if (error || !IsOpen()) return;
        watched.waits = false;
        Call(watched.readable);
        WaitFor(watched);
    });
    watched.waits = true;
}

void WebServer::Work::Every(std::chrono::milliseconds period, std::function<void()> act) {
    m_repeated.push_back({asio::steady_timer(m_context), period, std::move(act)});
}

void WebServer::Work::WaitFor(Repeated& repeated) {
    if (repeated.waits) return;
    repeated.timer.expires_after(repeated.period);
    repeated.timer.async_wait([&](beast::error_code error) {
        if (error || !IsOpen()) return;
        repeated.waits = false;
        Call(repeated.act);
        WaitFor(repeated);
    });
    repeated.waits = true;
}

void WebServer::Work::Call(const std::function<void()>& act) noexcept {
    try {
        try {
            act();
        } catch (const std::exception& error) {
            constexpr int kError = 3;
            m_board.Append(StateBoard::List::kLog, {{"level", kError}, {"text", error.what()}});
        }
    } catch (...) { // not even that can be told
    }
}

// Guests that leave call it: throws nothing, and is tried again with the next one.
void WebServer::Work::Accept() {
    if (m_accepting || !IsOpen() || m_house.guests.size() >= kMostGuests) return;
    try {
        m_acceptor.async_accept([this](beast::error_code error, tcp::socket socket) {
            m_accepting = false;
            OnAccepted(error, std::move(socket));
            Accept();
        });
        m_accepting = true;
    } catch (const std::bad_alloc&) {
    }
}

void WebServer::Work::OnAccepted(beast::error_code error, tcp::socket socket) {
    if (!IsOpen()) return;
    if (error) return AcceptLater();
    socket.set_option(tcp::no_delay(true), error);
    const bool isFull = m_house.guests.size() >= kMostServed;
    const auto guest = std::make_shared<WebConnection>(m_house, std::move(socket));
    m_house.guests.insert(guest);
    Serve(*guest, [&] { isFull ? guest->TurnAway() : guest->Begin(); });
}

void WebServer::Work::AcceptLater() {
    m_nextAccept.expires_after(kNextAccept);
    m_nextAccept.async_wait([this](beast::error_code) {
        m_accepting = false;
        Accept();
    });
    m_accepting = true;
}

void WebServer::Work::PumpAll() {
    for (auto next = m_house.guests.begin(); next != m_house.guests.end();) {
        const std::shared_ptr<WebGuest> guest = *next++; // which may end
        Serve(*guest, [&] { guest->Pump(); });
    }
}

// What was going on is called once more, to learn that it is over.
void WebServer::Work::Close() {
    m_goesOn.reset();
    beast::error_code unimportant;
    m_acceptor.close(unimportant);
    m_nextAccept.cancel(unimportant);
    while (!m_house.guests.empty()) (*m_house.guests.begin())->End();
    for (Watched& watched : m_watched)
        if (watched.descriptor.is_open()) watched.descriptor.release();
    for (Repeated& repeated : m_repeated) repeated.timer.cancel(unimportant);
    m_context.restart();
    m_context.poll();
}

WebServer::WebServer(const Options& options, StateBoard& board, const FrameHistory& history)
    : m_work(std::make_unique<Work>(options, board, history)) {}
WebServer::~WebServer() = default;

std::uint16_t WebServer::Port() const { return m_work->Port(); }
void WebServer::Run() { m_work->Run(); }
void WebServer::Stop() { m_work->Stop(); }
void WebServer::Watch(int descriptor, std::function<void()> readable) {
    m_work->Watch(descriptor, std::move(readable));
}
void WebServer::Every(std::chrono::milliseconds period, std::function<void()> act) {
    m_work->Every(period, std::move(act));
}
void WebServer::FramesCame() { m_work->PumpAll(); }
std::size_t WebServer::Pages() const { return m_work->Pages(); }
