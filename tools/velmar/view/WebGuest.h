// Who is connected to the web server. For WebServer.cpp alone, as WebConnection.h and WebPage.h: what these
// include takes long to compile.
#ifndef VELMAR_VIEW_WEB_GUEST_H
#define VELMAR_VIEW_WEB_GUEST_H

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <span>
#include <utility>

#include "view/Access.h"
#include "view/FrameHistory.h"
#include "view/StateBoard.h"

namespace asio = boost::asio;
namespace beast = boost::beast;

class WebGuest;

// What all guests share.
struct WebHouse {
    const StateBoard& board;
    const FrameHistory& history;
    std::span<const unsigned char> page;
    bool follows;
    Access access;
    std::function<void()> onPlaceFree; // a guest has left; throws nothing

    std::set<std::shared_ptr<WebGuest>> guests;
    std::size_t pages = 0; // of these
};

// One socket and whatever is done with it, until End.
class WebGuest : public std::enable_shared_from_this<WebGuest> {
public:
    WebGuest(WebHouse& house, const asio::any_io_executor& executor) : m_house(house), m_deadline(executor) {}
    virtual ~WebGuest() = default;
    WebGuest(const WebGuest&) = delete;
    WebGuest& operator=(const WebGuest&) = delete;

    // There may be something new to say. Ends no other guest.
    virtual void Pump() {}

    // Whatever is going on is given up.
    void End() noexcept {
        if (std::exchange(m_ended, true)) return;
        const auto self = weak_from_this().lock();
        CloseSocket();
        try {
            m_deadline.cancel();
            m_house.guests.erase(self);
            m_house.onPlaceFree();
        } catch (...) { // they could only if they were used wrongly
        }
    }
    bool HasEnded() const { return m_ended; }

protected:
    virtual void CloseSocket() noexcept = 0;

    WebHouse& m_house;
    asio::steady_timer m_deadline;

private:
    bool m_ended = false;
};

// What goes wrong with one guest, as when memory runs out, ends that one.
template <typename Act>
void Serve(WebGuest& guest, const Act& act) noexcept {
    try {
        act();
    } catch (...) {
        guest.End();
    }
}

// What a guest does when an operation is done. Keeps the guest so long. An operation that gets lost on its way,
// because memory ran out inside of it, would leave a guest that waits for ever: it is ended.
template <typename Guest>
class Step {
public:
    using Act = void (Guest::*)(beast::error_code, std::size_t);

    Step(Guest& guest, Act act) : m_guest(std::static_pointer_cast<Guest>(guest.shared_from_this())), m_act(act) {}
    ~Step() {
        if (m_guest) m_guest->End();
    }
    Step(Step&&) noexcept = default;
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;
    Step& operator=(Step&&) = delete;

    void operator()(beast::error_code error, std::size_t count = 0) {
        const auto guest = std::move(m_guest);
        if (!guest->HasEnded()) Serve(*guest, [&] { ((*guest).*m_act)(error, count); });
    }

private:
    std::shared_ptr<Guest> m_guest;
    Act m_act;
};

#endif
