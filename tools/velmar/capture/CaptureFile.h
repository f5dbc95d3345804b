// Reads capture files, the tool's own and those of network analysers.
#ifndef VELMAR_CAPTURE_CAPTURE_FILE_H
#define VELMAR_CAPTURE_CAPTURE_FILE_H

#include <pcap/pcap.h>

#include <memory>
#include <string>
#include <vector>

#include "capture/CapturedDatagram.h"
#include "capture/Ipv4Input.h"

class CaptureFile {
public:
    // Throws std::runtime_error naming the path and what is wrong with the file. It is read more than once, so it
    // must be a file that can be.
    explicit CaptureFile(std::string path);

    // The next UDP datagram over IPv4, valid until the next call; null at the end of what can be read, and when a
    // signal arrives.
    CapturedDatagram* Next();

    // After the end: a line that says what is wrong with the file; empty for a sound one.
    std::string Damage() const;

private:
    struct Release {
        void operator()(pcap_t* file) const { pcap_close(file); }
    };

    // Of the file: with a call to the system for each block of a disk, reading takes half as long again.
    static constexpr std::size_t kReadAtOnce = 262144;

    std::string m_path;
    std::vector<char> m_buffer = std::vector<char>(kReadAtOnce); // the file's own, until it is closed
    std::unique_ptr<pcap_t, Release> m_file;
    Ipv4Input m_input;
    CapturedDatagram m_datagram;
    std::string m_error;
    unsigned int m_records = 0;
};

#endif
