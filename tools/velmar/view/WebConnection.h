// One who has connected and asks for something: gets one answer, or becomes a page. For WebServer.cpp alone.
#ifndef VELMAR_VIEW_WEB_CONNECTION_H
#define VELMAR_VIEW_WEB_CONNECTION_H

#include <array>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <string>

#include "view/WebPage.h"

namespace http = beast::http;

class WebConnection final : public WebGuest {
public:
    WebConnection(WebHouse& house, tcp::socket socket)
        : WebGuest(house, socket.get_executor()), m_socket(std::move(socket)) {
        m_parser.header_limit(kMostHeader);
        m_parser.body_limit(0);
    }

    void Begin() {
        SetDeadline(kRequestTime);
        http::async_read(m_socket, m_buffer, m_parser, Step(*this, &WebConnection::OnRequest));
    }

    void TurnAway() {
        Refuse(http::status::service_unavailable, "there are too many connections, try again later");
    }

private:
    using Request = http::request<http::empty_body>;
    using Bytes = std::span<const unsigned char>;

    static constexpr std::uint32_t kMostHeader = 8192;
    static constexpr std::size_t kMostPages = 32;
    static constexpr std::chrono::seconds kRequestTime{10}; // also of an answer
    // For those who still send: closing a socket with something unread in it takes the answer back.
    static constexpr std::chrono::milliseconds kFarewellTime{500};

    void SetDeadline(std::chrono::milliseconds time) {
        m_deadline.expires_after(time);
        m_deadline.async_wait(Step(*this, &WebConnection::OnDeadline));
    }

    void OnDeadline(beast::error_code error, std::size_t) {
        if (error) return; // there is another one
        if (m_answering) return End();
        m_socket.cancel();
        Refuse(http::status::request_timeout, "no whole request came within 10 s");
    }

    void OnRequest(beast::error_code error, std::size_t) {
        if (m_answering) return;
        if (error) return RefuseBroken(error);
        const Request& request = m_parser.get();
        m_headOnly = request.method() == http::verb::head;
        const std::string_view target(request.target().data(), request.target().size());
        const Caller caller{target, Only(request, http::field::host), Only(request, http::field::origin)};
        const std::string_view path = PathOf(target);
        const char* const why =
            path == "/stream" ? WhyNoStream(m_house.access, caller) : WhyNoPage(m_house.access, caller);
        if (why != nullptr) return Refuse(http::status::forbidden, why);
        if (path != "/" && path != "/stream")
            return Refuse(http::status::not_found, "there are / and /stream only");
        if (request.method() != http::verb::get && !m_headOnly) {
            m_response.set(http::field::allow, "GET, HEAD");
            return Refuse(http::status::method_not_allowed, "only GET and HEAD are answered");
        }
        if (path == "/stream") return BecomePage(request);
        m_response.set(http::field::content_encoding, "gzip");
        Answer(http::status::ok, "text/html; charset=utf-8", m_house.page);
    }

    void RefuseBroken(beast::error_code error) {
        if (error == http::error::header_limit || error == http::error::buffer_overflow)
            return Refuse(http::status::request_header_fields_too_large, "a request has at most 8 KiB");
        if (error == http::error::body_limit)
            return Refuse(http::status::payload_too_large, "a request has no body here");
        const bool isRubbish = error.category() == beast::error_code(http::error::bad_version).category() &&
                               error != http::error::end_of_stream && error != http::error::partial_message;
        if (!isRubbish) return End(); // gone
        Refuse(http::status::bad_request, "this is no request: " + error.message());
    }

    static std::optional<std::string_view> Only(const Request& request, http::field name) {
        const auto field = request.find(name);
        if (field == request.end() || request.count(name) != 1) return std::nullopt;
        return std::string_view(field->value().data(), field->value().size());
    }

    void BecomePage(const Request& request) {
        if (!beast::websocket::is_upgrade(request)) {
            m_response.set(http::field::upgrade, "websocket");
            return Refuse(http::status::upgrade_required, "/stream is a WebSocket");
        }
        if (m_buffer.size() != 0) return Refuse(http::status::bad_request, "the WebSocket is not open yet");
        if (m_house.pages >= kMostPages)
            return Refuse(http::status::service_unavailable, "there are too many pages, close one of them");
        const auto page = std::make_shared<WebPage>(m_house, std::move(m_socket));
        m_house.guests.insert(page);
        Serve(*page, [&] { page->Begin(request); });
        End();
    }

    void Refuse(http::status status, const std::string& why) {
        m_line = why + "\n";
        Answer(status, "text/plain; charset=utf-8",
               {reinterpret_cast<const unsigned char*>(m_line.data()), m_line.size()});
    }

    void Answer(http::status status, const char* type, Bytes body) {
        m_answering = true;
        SetDeadline(kRequestTime);
        m_response.result(status);
        m_response.set(http::field::content_type, type);
        m_response.set(http::field::cache_control, "no-store");
        m_response.set(http::field::x_frame_options, "DENY");
        m_response.set("Referrer-Policy", "no-referrer");
        m_response.set("X-Content-Type-Options", "nosniff");
        m_response.set("Cross-Origin-Resource-Policy", "same-origin");
        m_response.content_length(body.size());
        m_response.keep_alive(false);
        if (!m_headOnly) m_response.body() = {body.data(), body.size()};
        http::async_write(m_socket, m_response, Step(*this, &WebConnection::OnAnswered));
    }

    void OnAnswered(beast::error_code error, std::size_t) {
        if (error) return End();
        m_socket.shutdown(tcp::socket::shutdown_send, error);
        SetDeadline(kFarewellTime);
        Drain();
    }

    void Drain() { m_socket.async_read_some(asio::buffer(m_unread), Step(*this, &WebConnection::OnDrained)); }
    void OnDrained(beast::error_code error, std::size_t) { error ? End() : Drain(); }

    void CloseSocket() noexcept override {
        beast::error_code unimportant;
        m_socket.close(unimportant);
    }

    tcp::socket m_socket;
    beast::flat_buffer m_buffer{kMostHeader};
    http::request_parser<http::empty_body> m_parser;
    bool m_headOnly = false;
    bool m_answering = false;
    std::string m_line; // the response's, as the page is
    http::response<http::span_body<const unsigned char>> m_response;
    std::array<char, 1024> m_unread{};
};

#endif
