#include "platform/OutputMessage.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "platform/AppCallBack.h"

namespace {

constexpr std::size_t kTextSize = 1024;

std::atomic<int> g_level{Verbosity_Debug};

bool Passes(Verbosity kind) { return g_level.load(std::memory_order_relaxed) >= kind; }

int Emit(Verbosity kind, const char* format, std::va_list arguments) __attribute__((format(printf, 2, 0)));
int Emit(Verbosity kind, const char* format, std::va_list arguments) {
    char text[kTextSize];
    std::vsnprintf(text, sizeof text, format, arguments);
    return Application::CAppCallBack::OutputMessage(kind, text);
}

} // namespace

int COutputMessage::SetLevel(Verbosity level) {
    g_level.store(level, std::memory_order_relaxed);
    return 0;
}

int COutputMessage::Debug(const char* format, ...) {
    if (!Passes(Verbosity_Debug)) return 0;
    std::va_list arguments;
    va_start(arguments, format);
    const int result = Emit(Verbosity_Debug, format, arguments);
    va_end(arguments);
    return result;
}

int COutputMessage::Info(const char* format, ...) {
    if (!Passes(Verbosity_Info)) return 0;
    std::va_list arguments;
    va_start(arguments, format);
    const int result = Emit(Verbosity_Info, format, arguments);
    va_end(arguments);
    return result;
}

int COutputMessage::Warning(const char* format, ...) {
    if (!Passes(Verbosity_Warning)) return 0;
    std::va_list arguments;
    va_start(arguments, format);
    const int result = Emit(Verbosity_Warning, format, arguments);
    va_end(arguments);
    return result;
}

int COutputMessage::Error(const char* format, ...) {
    if (!Passes(Verbosity_Error)) return 0;
    std::va_list arguments;
    va_start(arguments, format);
    const int result = Emit(Verbosity_Error, format, arguments);
    va_end(arguments);
    return result;
}

int COutputMessage::Output(const char* format, ...) {
    char text[kTextSize];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    std::fputs(text, stdout);
    return 0;
}
