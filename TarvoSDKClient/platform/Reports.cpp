#include "platform/Reports.h"

#include <cstring>

#include "platform/OutputMessage.h"

namespace Report {

namespace {

// The text of strerror, without its shared buffer.
class ErrorText {
public:
    explicit ErrorText(int error) : m_text(::strerror_r(error, m_buffer, sizeof m_buffer)) {}
    const char* Get() const { return m_text; }

private:
    char m_buffer[128];
    const char* m_text;
};

} // namespace

void Failed(int line) { Text("Failed", line); }

void Warning(int line) { Text("Warning", line); }

void SystemError(int error, int line) {
    COutputMessage::Error("[TarvoSDKClient] %d Failed syserr:%d %s\n", line, error, ErrorText(error).Get());
}

void SocketError(int socket, int error, int line) {
    COutputMessage::Error("[TarvoSDKClient] %d Failed:%d syserr:%d %s\n", line, socket, error,
                          ErrorText(error).Get());
}

void Number(unsigned int value, int line) { COutputMessage::Info("[TarvoSDKClient] %d %u.\n", line, value); }

void Text(const char* text, int line) { COutputMessage::Info("[TarvoSDKClient] %d %s.\n", line, text); }

void TextAndNumber(const char* text, int value, int line) {
    COutputMessage::Info("[TarvoSDKClient] %d %s : %d.\n", line, text, value);
}

void Closing(int socket, int line) {
    COutputMessage::Info("[TarvoSDKClient] %s %s %d h:%d.\n", "SocketFacade", "Close", line, socket);
}

void ShutDownInCallback() {
    COutputMessage::Error(
        "[Error] A client was shut down from its own callback, which is not allowed: it ends later\n");
}

void NoInterface(const char* nameOrAddress) {
    COutputMessage::Error("[Error] No interface of this host can be joined by the name or address: %s\n",
                          nameOrAddress);
}

void ConnectFailed(const char* address, unsigned int port, unsigned int timeoutMs, int error, int line) {
    COutputMessage::Error("%s %d connect:%s %d timeout:%dms syserr:%d %s\n", "NoBlockClient", line, address,
                          static_cast<int>(port), static_cast<int>(timeoutMs), error, ErrorText(error).Get());
}

} // namespace Report
