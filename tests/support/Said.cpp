// What is made with regular expressions, which are slow to compile.
#include "support/Said.h"

#include <regex>

std::vector<std::string> LogLines::Words() const {
    static const std::regex prefix(R"(^\[TarvoSDKClient\] (SocketFacade )?(Close )?\d+ ?|\n$)");
    std::vector<std::string> words;
    for (const Line& line : Lines()) words.push_back(std::regex_replace(line.text, prefix, "$2"));
    return words;
}

std::string Said::operator()(int result) {
    static const std::regex handle("(Failed:|h:|NoBlockClient )-?[0-9]+");
    std::string said = std::to_string(result);
    for (const auto& line : log.Lines()) EXPECT_EQ(line.level, line.text.find("syserr") + 1 == 0 ? 1 : 3);
    for (const auto& words : log.Words()) {
        const std::string text = std::regex_replace(words, handle, "$1#");
        said += (said.size() < 3 ? ' ' : '|') + text.substr(0, text.find(' ', text.find("syserr")));
    }
    log.Clear();
    return said;
}
