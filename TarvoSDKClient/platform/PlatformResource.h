// The record that platform start-up has been done, once per process.
#ifndef TARVO_PLATFORM_PLATFORM_RESOURCE_H
#define TARVO_PLATFORM_PLATFORM_RESOURCE_H

#include <atomic>

class CPlatformResource {
public:
    CPlatformResource() = default;
    virtual ~CPlatformResource() = default;
    CPlatformResource(const CPlatformResource&) = delete;
    CPlatformResource& operator=(const CPlatformResource&) = delete;

    // 0; 1 with a warning when it is already initialised.
    int Initialize();
    bool State() const { return m_initialised; }
    int Destroy(); // 0

private:
    std::atomic<bool> m_initialised{false};
};

#endif
