// The messages that tell pages about a stream, however it comes (see PageProtocol.h).
#ifndef VELMAR_VIEW_STATE_MESSAGES_H
#define VELMAR_VIEW_STATE_MESSAGES_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "TarvoSDKClient.h"
#include "view/FrameHistory.h"
#include "view/StateBoard.h"

struct HelloFacts {
    bool isRecording = false;
    std::string name; // of the server or of the file
    std::string unit; // of length
    double historySeconds = 0;
};
nlohmann::json HelloMessage(const HelloFacts& facts);

// The list may be null: then the reason is told.
nlohmann::json DescriptionsMessage(const sServerDescription& server, const sDataDescriptions* list,
                                   const std::string& reason);

nlohmann::json StatusMessage(const std::string& state, const std::string& text,
                             const std::vector<std::string>& notices = {});

nlohmann::json HistoryObject(const FrameHistory& history); // null while it is empty

// Tells the names of the marker sets whenever they change.
class SetNames {
public:
    explicit SetNames(StateBoard& board) : m_board(board) {}
    void Follow(const sFrameOfMocapData& frame);

private:
    StateBoard& m_board;
    std::string m_names; // the buffers of the names, one behind the other
    bool m_told = false;
};

#endif
