// Small operating-system services: error number, time, sleep, files, process identifiers.
#ifndef TARVO_PLATFORM_UTILITY_H
#define TARVO_PLATFORM_UTILITY_H

#include <cstddef>
#include <cstdint>

// A broken-down UTC time.
struct tagAbsoluteTime {
    std::uint16_t year;      // the calendar year itself
    std::uint16_t month;     // 1..12
    std::uint16_t dayOfWeek; // 0..6, Sunday 0
    std::uint16_t day;       // 1..31
    std::uint16_t hour;
    std::uint16_t minute;
    std::uint16_t second;       // 0..60
    std::uint16_t milliseconds; // always 0
};
static_assert(sizeof(tagAbsoluteTime) == 16 && alignof(tagAbsoluteTime) == 2);
static_assert(offsetof(tagAbsoluteTime, day) == 6 && offsetof(tagAbsoluteTime, milliseconds) == 14);

namespace System {

// Callable from any thread.
class CUtility {
public:
    // The calling thread's last system error number.
    static int GetSystemError();

    // The current UTC time in whole seconds. 0; 1 when it cannot be broken down.
    static int GetSystemTime(tagAbsoluteTime& time);

    // Milliseconds of the wall clock; wraps every 49.7 days and jumps when the clock is set.
    static unsigned int GetTickCount();

    // Blocks the calling thread; an interrupted sleep ends early. 0.
    static int Sleep(unsigned int milliseconds);

    // The size of the file itself, of the link where it is one. 0; 1.
    static int GetFileSize(const char* path, unsigned long long& size);
    static int RemoveFile(const char* path); // 0, 1

    // Both give the process id.
    static int GetCurrentProcessID();
    static int GetCurrentThreadID();

    // Not available: touches nothing, returns 1.
    static int GetHttpContent(const char* url, char* content, unsigned int& size);
    static void GetTickExpend() {}

    // The same operations by platform. The _Windows forms do nothing and return 0.
    static int GetSystemError_Linux();
    static int GetSystemTime_Linux(tagAbsoluteTime& time);
    static int Sleep_Linux(unsigned int milliseconds);
    static unsigned int GetTickCount_Linux();
    static int GetHttpContent_Linux(const char* url, char* content, unsigned int& size);
    static int GetCurrentProcessID_Linux();
    static int GetCurrentThreadID_Linux();
    static int GetFileSize_Linux(const char* path, unsigned long long& size); // path must not be null

    static int GetSystemError_Windows() { return 0; }
    static int GetSystemTime_Windows(tagAbsoluteTime& /*time*/) { return 0; }
    static int Sleep_Windows(unsigned int /*milliseconds*/) { return 0; }
    static unsigned int GetTickCount_Windows() { return 0; }
    static int GetHttpContent_Windows(const char* /*url*/, char* /*content*/, unsigned int& /*size*/) { return 0; }
    static int GetCurrentProcessID_Windows() { return 0; }
    static int GetCurrentThreadID_Windows() { return 0; }
    static int GetFileSize_Window(const char* /*path*/, unsigned long long& /*size*/) { return 0; }
};

} // namespace System

#endif
