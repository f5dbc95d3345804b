// One page's side of the conversation: what it asked for, and what goes to it next. Knows nothing of sockets.
#ifndef VELMAR_VIEW_PAGE_LINK_H
#define VELMAR_VIEW_PAGE_LINK_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "view/FrameHistory.h"
#include "view/PageProtocol.h"
#include "view/StateBoard.h"

// For one thread. Board and history outlive it. It holds no frame and of what the page asked for the newest, so a
// page that stalls costs no more.
class PageLink {
public:
    // A page that follows gets frames as they come; one that does not begins with the first frame of the history.
    PageLink(const StateBoard& board, const FrameHistory& history, bool follows);

    // What the page sent; false when it is nothing that a page sends, and the connection is to be ended.
    bool Take(std::string_view text);

    struct Outgoing {
        std::string text; // of a state; empty: a frame
        std::array<unsigned char, kFramePrefixSize> prefix{};
        FrameBody body;
    };

    // What goes out next, when the one before has left; nothing when there is nothing to say. The time is the
    // program's clock in milliseconds.
    std::optional<Outgoing> Next(double nowMs);

private:
    // The place "index" or the time "ms" of a page that holds.
    struct Wanted {
        bool isTime;
        double value;
    };

    bool TakeRequest(const nlohmann::json& message);
    bool Hold(const nlohmann::json& message);
    void Follow();
    std::optional<std::string> NextText(double nowMs);
    FrameBody NextFrame();
    FrameBody Newest();
    FrameBody Held();
    std::uint64_t PlaceOf(const Wanted& wanted) const;
    std::array<unsigned char, kFramePrefixSize> Prefix(double nowMs) const;

    const StateBoard& m_board;
    const FrameHistory& m_history;
    StateBoard::Progress m_known;
    std::optional<double> m_ping;   // the id of one that is to be answered
    std::optional<Wanted> m_wanted; // of a page that holds, until it is sent
    bool m_follows = false;
    bool m_onItsWay = false;  // a frame is, that the page has not taken
    std::uint64_t m_next = 0; // of a page that follows: the first place that it has not been offered
    std::uint64_t m_skipped = 0;
};

#endif
