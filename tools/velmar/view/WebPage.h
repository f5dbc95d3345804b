// A page that looks on, over its WebSocket. For WebServer.cpp alone.
#ifndef VELMAR_VIEW_WEB_PAGE_H
#define VELMAR_VIEW_WEB_PAGE_H

#include <array>
#include <boost/beast/websocket.hpp>
#include <optional>

#include "view/FrameMessage.h"
#include "view/PageLink.h"
#include "view/WebGuest.h"

namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;

class WebPage final : public WebGuest {
public:
    WebPage(WebHouse& house, tcp::socket socket)
        : WebGuest(house, socket.get_executor()),
          m_stream(std::move(socket)),
          m_link(house.board, house.history, house.follows) {
        ++m_house.pages;
        m_stream.auto_fragment(false); // a message is one frame and one call of the system
        // A page that reads answers pings; one that does not, and does not write either, is taken as gone.
        m_stream.set_option(websocket::stream_base::timeout{kHandshakeTime, kSilence, true});
        // What a page that stalls has not read yet lies in the system, which would let it grow to megabytes.
        Socket().set_option(tcp::socket::send_buffer_size(kSendBuffer));
    }

    template <typename Request>
    void Begin(const Request& request) {
        m_stream.async_accept(request, Step(*this, &WebPage::OnAccepted));
    }

    void Pump() override {
        if (!m_open || m_leaving) return;
        m_leaving = m_link.Next(NowMs());
        if (!m_leaving) return;
        m_stream.text(!m_leaving->body);
        std::array<asio::const_buffer, 2> parts{asio::buffer(m_leaving->text)};
        if (m_leaving->body) parts = {asio::buffer(m_leaving->prefix), asio::buffer(*m_leaving->body)};
        m_stream.async_write(parts, Step(*this, &WebPage::OnWritten));
    }

private:
    static constexpr std::chrono::seconds kHandshakeTime{10};
    static constexpr std::chrono::seconds kSilence{60};
    static constexpr std::chrono::seconds kFarewellTime{5};
    static constexpr int kSendBuffer = 256 * 1024;

    tcp::socket& Socket() { return m_stream.next_layer(); }

    void OnAccepted(beast::error_code error, std::size_t) {
        if (error) return End();
        m_open = true;
        Read();
        Pump();
    }

    void OnWritten(beast::error_code error, std::size_t) {
        if (error) return End();
        m_leaving.reset();
        Pump();
    }

    // One byte more than a message may have.
    void Read() {
        const auto left = asio::buffer(m_message) + m_length;
        m_stream.async_read_some(left, Step(*this, &WebPage::OnRead));
    }

    void OnRead(beast::error_code error, std::size_t count) {
        if (error) return End();
        m_length += count;
        if (m_stream.got_binary()) return Dismiss(websocket::close_code::unknown_data, "only text is understood");
        if (m_length > kMaxPageMessage) return Dismiss(websocket::close_code::too_big, "a message is too long");
        if (m_stream.is_message_done()) {
            const std::size_t length = std::exchange(m_length, 0);
            if (!m_link.Take({m_message.data(), length}))
                return Dismiss(websocket::close_code::policy_error, "this is no message of a page");
            Pump();
        }
        Read();
    }

    void Dismiss(websocket::close_code code, const char* why) {
        m_open = false;
        m_deadline.expires_after(kFarewellTime);
        m_deadline.async_wait(Step(*this, &WebPage::OnDismissed));
        m_stream.async_close({code, why}, Step(*this, &WebPage::OnDismissed));
    }

    void OnDismissed(beast::error_code, std::size_t) { End(); }

    void CloseSocket() noexcept override {
        --m_house.pages;
        beast::error_code unimportant;
        Socket().close(unimportant);
    }

    websocket::stream<tcp::socket> m_stream;
    PageLink m_link;
    bool m_open = false;
    std::optional<PageLink::Outgoing> m_leaving;
    std::array<char, kMaxPageMessage + 1> m_message{};
    std::size_t m_length = 0; // of what has come of it
};

#endif
