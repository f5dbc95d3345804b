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

// For one thread. Board and history outlive it. It holds one frame at most, so a page that stalls costs no more.
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
};

#endif
