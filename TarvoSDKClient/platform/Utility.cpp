#include "platform/Utility.h"

#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "platform/Reports.h"

namespace System {

int CUtility::GetSystemError() { return GetSystemError_Linux(); }
int CUtility::GetSystemTime(tagAbsoluteTime& time) { return GetSystemTime_Linux(time); }
unsigned int CUtility::GetTickCount() { return GetTickCount_Linux(); }
int CUtility::Sleep(unsigned int milliseconds) { return Sleep_Linux(milliseconds); }
int CUtility::GetCurrentProcessID() { return GetCurrentProcessID_Linux(); }
int CUtility::GetCurrentThreadID() { return GetCurrentThreadID_Linux(); }

int CUtility::GetHttpContent(const char* url, char* content, unsigned int& size) {
    return GetHttpContent_Linux(url, content, size);
}

int CUtility::GetFileSize(const char* path, unsigned long long& size) {
    if (path == nullptr) {
        Report::Failed();
        return 1;
    }
    return GetFileSize_Linux(path, size);
}

int CUtility::RemoveFile(const char* path) {
    if (std::remove(path) != 0) {
        Report::SystemError(errno);
        return 1;
    }
    return 0;
}

int CUtility::GetSystemError_Linux() { return errno; }

int CUtility::GetSystemTime_Linux(tagAbsoluteTime& time) {
    const std::time_t now = std::time(nullptr);
    std::tm fields{};
    if (gmtime_r(&now, &fields) == nullptr) return 1;
    time.year = static_cast<std::uint16_t>(fields.tm_year + 1900);
    time.month = static_cast<std::uint16_t>(fields.tm_mon + 1);
    time.dayOfWeek = static_cast<std::uint16_t>(fields.tm_wday);
    time.day = static_cast<std::uint16_t>(fields.tm_mday);
    time.hour = static_cast<std::uint16_t>(fields.tm_hour);
    time.minute = static_cast<std::uint16_t>(fields.tm_min);
    time.second = static_cast<std::uint16_t>(fields.tm_sec);
    time.milliseconds = 0;
    return 0;
}

unsigned int CUtility::GetTickCount_Linux() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<unsigned int>(now.tv_sec * 1000 + now.tv_usec / 1000);
}

int CUtility::Sleep_Linux(unsigned int milliseconds) {
    timeval duration{};
    duration.tv_sec = milliseconds / 1000;
    duration.tv_usec = static_cast<suseconds_t>(milliseconds % 1000) * 1000;
    select(0, nullptr, nullptr, nullptr, &duration);
    return 0;
}

int CUtility::GetFileSize_Linux(const char* path, unsigned long long& size) {
    struct stat status {};
    if (lstat(path, &status) != 0) {
        Report::SystemError(errno);
        return 1;
    }
    size = static_cast<unsigned long long>(status.st_size);
    return 0;
}

int CUtility::GetCurrentProcessID_Linux() { return getpid(); }
int CUtility::GetCurrentThreadID_Linux() { return getpid(); }

int CUtility::GetHttpContent_Linux(const char* /*url*/, char* /*content*/, unsigned int& /*size*/) { return 1; }

} // namespace System
