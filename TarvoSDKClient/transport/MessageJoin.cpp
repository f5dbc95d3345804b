#include "transport/MessageJoin.h"

#include <cstring>

void CMessageJoin::Use(unsigned char* area, unsigned int size) {
    m_area = area;
    m_size = size;
    m_joined = 0;
}

CMessageJoin::Result CMessageJoin::Take(unsigned char* datagram, unsigned int length) {
    Result result{Outcome::kInvalid};
    tagPackageHeader& header = result.header;
    if (!HasHeader(datagram, length, result)) return result;
    unsigned char* const payload = datagram + kPackageHeaderSize;
    if (header.totalLength == header.fragmentLength) {
        m_ledger.CameWhole(m_expected);
        m_expected = 0;
        result.outcome = Outcome::kWhole;
        result.payload = payload;
        result.length = header.fragmentLength;
        return result;
    }
    if (!Expects(header, payload)) {
        result.outcome = Outcome::kUnfit;
        result.number = header.fragmentIndex;
        return result;
    }
    Append(payload, header.fragmentLength);
    m_expected = static_cast<std::uint8_t>(header.fragmentIndex + 1);
    result.outcome = Outcome::kPart;
    if (header.totalLength != m_joined) return result;
    m_ledger.Messages().IsJoined(header);
    m_expected = 0;
    result.outcome = Outcome::kWhole;
    result.payload = m_area;
    result.length = m_joined;
    return result;
}

// Whether a datagram may be handled; says why another one may not.
bool CMessageJoin::HasHeader(const unsigned char* datagram, unsigned int length, Result& result) {
    tagPackageHeader& header = result.header;
    if (length < kPackageHeaderSize) {
        m_ledger.IsTooShort();
        result.number = length;
        return false;
    }
    std::memcpy(&header, datagram, kPackageHeaderSize);
    if (length - kPackageHeaderSize != header.fragmentLength) {
        m_ledger.HasWrongLength();
        result.number = header.fragmentLength;
        return false;
    }
    if (header.magic != kPackageMagic) {
        m_ledger.IsForeign();
        result.number = header.magic;
        return false;
    }
    return true;
}

// Whether a fragment continues the message in hand; index 0 begins a new one.
bool CMessageJoin::Expects(const tagPackageHeader& header, const unsigned char* payload) {
    const unsigned int index = header.fragmentIndex;
    if (index == 0) {
        m_ledger.Begins(header, {payload, header.fragmentLength}, m_expected);
        m_joined = 0;
        return true;
    }
    if (index == m_expected) return true;
    m_ledger.Messages().DoesNotFit(header, {payload, header.fragmentLength}, m_expected, {m_area, m_joined});
    const bool cameTwice = index + 1 == m_expected;
    if (!cameTwice) m_expected = 0;
    return false;
}

void CMessageJoin::Append(const unsigned char* payload, unsigned int length) {
    if (length == 0 || length > m_size - m_joined) return;
    std::memcpy(m_area + m_joined, payload, length);
    m_joined += length;
}
