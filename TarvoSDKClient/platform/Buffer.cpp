#include "platform/Buffer.h"

#include <cstdint>
#include <cstring>
#include <new>

#include "platform/Reports.h"

CBuffer::CBuffer(unsigned char* memory, unsigned int length) : m_memory(memory), m_length(length) {}

CBuffer::CBuffer(const CBuffer& other) { // NOLINT(bugprone-copy-constructor-init)
    if (Clone(&other, this) != 0) Report::Failed();
}

CBuffer& CBuffer::operator=(const CBuffer& other) {
    if (this == &other) return *this;
    if (Clone(&other, this) != 0) Report::Failed();
    return *this;
}

int CBuffer::Initialize() {
    m_memory = nullptr;
    m_length = 0;
    m_position = 0;
    return 0;
}

int CBuffer::Create(unsigned int length) {
    auto* memory = new (std::nothrow) unsigned char[length];
    if (memory == nullptr) {
        m_length = 0;
        Report::Failed();
        return 1;
    }
    m_memory = memory;
    m_length = length;
    m_position = 0;
    return 0;
}

int CBuffer::Recreate(unsigned int length) {
    Destroy();
    return Create(length);
}

int CBuffer::Destroy() {
    delete[] m_memory;
    return Initialize();
}

int CBuffer::Consign(unsigned char* memory, unsigned int length) {
    if (memory != m_memory) Destroy();
    m_memory = memory;
    m_length = length;
    m_position = 0;
    return 0;
}

int CBuffer::Clone(CBuffer* target) const {
    if (target == this) {
        Report::Failed();
        return 1;
    }
    return Clone(this, target);
}

int CBuffer::Clone(const CBuffer* source, CBuffer* target) const {
    if (target == nullptr) {
        Report::Failed();
        return 1;
    }
    target->Destroy();
    if (source == nullptr || source->m_memory == nullptr || source->m_length == 0) {
        Report::Failed();
        return 1;
    }
    if (target->Create(source->m_length) != 0) return 1;
    std::memcpy(target->m_memory, source->m_memory, source->m_length);
    return 0;
}

int CBuffer::Copy(const unsigned char* data, unsigned int count) {
    if (m_memory == nullptr || m_length < count) {
        Report::Failed();
        return 1;
    }
    if (count > 0) std::memcpy(m_memory, data, count);
    return 0;
}

int CBuffer::Paste(unsigned char* destination, unsigned int count) {
    if (m_memory == nullptr || m_length < count) {
        Report::Failed();
        return 1;
    }
    if (count > 0) std::memcpy(destination, m_memory, count);
    return 0;
}

int CBuffer::CheckValid(const unsigned char* address) const {
    // As integers: pointers into different objects have no order.
    const auto at = reinterpret_cast<std::uintptr_t>(address);
    const auto start = reinterpret_cast<std::uintptr_t>(m_memory);
    if (address == nullptr || at < start || at - start > m_length) {
        Report::Failed();
        return 1;
    }
    return 0;
}

int CBuffer::AddPosition(unsigned int count) {
    m_position += count;
    return 0;
}

int CBuffer::ResetPosition() {
    m_position = 0;
    return 0;
}

bool CBuffer::Compare(const CBuffer& other) const {
    if (m_memory == nullptr || other.m_memory == nullptr) {
        Report::Failed();
        return false;
    }
    if (other.m_length == 0 || other.m_length != m_length) return false;
    return std::memcmp(m_memory, other.m_memory, m_length) == 0;
}
