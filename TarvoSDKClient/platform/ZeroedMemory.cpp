#include "platform/ZeroedMemory.h"

#include <sys/mman.h>

#include <cerrno>

#include "platform/Reports.h"

namespace System {

int CZeroedMemory::Create(std::size_t length) {
    void* const area =
        mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (area == MAP_FAILED) {
        Report::SystemError(errno);
        return 1;
    }
    m_data = static_cast<unsigned char*>(area);
    m_length = length;
    return 0;
}

void CZeroedMemory::Destroy() {
    if (m_data != nullptr) munmap(m_data, m_length);
    m_data = nullptr;
    m_length = 0;
}

} // namespace System
