// Writes datagrams into a capture file that any network analyser opens.
#ifndef VELMAR_CAPTURE_CAPTURE_WRITER_H
#define VELMAR_CAPTURE_CAPTURE_WRITER_H

#include <pcap/pcap.h>

#include <cstdint>
#include <memory>
#include <string>

#include "capture/CapturedDatagram.h"

// Every datagram stands in the file when Write returns, whole, as an IPv4 packet. All that the system refuses is
// thrown as std::runtime_error naming the path and the reason; the file then ends with the last whole datagram.
class CaptureWriter {
public:
    explicit CaptureWriter(std::string path); // an existing file is replaced
    ~CaptureWriter();
    CaptureWriter(const CaptureWriter&) = delete;
    CaptureWriter& operator=(const CaptureWriter&) = delete;

    void Write(const CapturedDatagram& datagram);

    long Size() const { return m_size; } // bytes of the file

private:
    struct Release {
        void operator()(pcap_t* format) const { pcap_close(format); }
        void operator()(pcap_dumper_t* file) const { pcap_dump_close(file); }
    };

    void Flush();

    std::string m_path;
    std::unique_ptr<pcap_t, Release> m_format;
    std::unique_ptr<pcap_dumper_t, Release> m_file;
    std::uint16_t m_identification = 0;
    long m_size = 0;
    bool m_failed = false;
};

#endif
