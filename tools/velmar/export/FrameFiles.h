// The tables of frames in files.
#ifndef VELMAR_EXPORT_FRAME_FILES_H
#define VELMAR_EXPORT_FRAME_FILES_H

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "export/FrameTables.h"

// What the system refuses is thrown as std::runtime_error naming the path and the reason.
class OutputFile {
public:
    explicit OutputFile(std::string path);
    void Write(const std::string& text);
    void Close();

private:
    struct Release {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    [[noreturn]] void Fail() const;

    std::string m_path;
    std::unique_ptr<std::FILE, Release> m_file;
};

// What every row begins with.
struct FrameHead {
    int number;
    std::string arrival; // seconds since the epoch, with nine decimals
    std::string timecode;
};

// Writes frames into a directory, which is made if need be: a CSV file for each table, with a row for each item
// and frame, or one file of JSON objects, a line for each frame. Throws as OutputFile does.
class FrameFiles {
public:
    enum class Format { kCsv, kJson };

    // Makes the directory if need be. Throws std::runtime_error, also before it would overwrite the input.
    FrameFiles(const std::string& input, const std::string& directory, Format format,
               const std::vector<Table>& tables);

    void Add(const FrameHead& head, const std::vector<Table>& tables);
    void Close();

private:
    void AddRows(const FrameHead& head, const std::vector<Table>& tables);
    void AddObject(const FrameHead& head, const std::vector<Table>& tables);

    Format m_format;
    std::vector<OutputFile> m_files;
};

#endif
