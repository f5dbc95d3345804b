// The files of an export, which stand under their names only when all of them are complete.
#ifndef VELMAR_EXPORT_OUTPUT_FOLDER_H
#define VELMAR_EXPORT_OUTPUT_FOLDER_H

#include <cstdio>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "OutputPath.h"

// What the system refuses is thrown as std::runtime_error naming the path and the reason.
class OutputFile {
public:
    OutputFile(const std::string& path, const std::string& input, bool replaces); // as OutputPath
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(std::string_view bytes);

    void Close();
    void TakePlace() { m_path.TakePlace(); } // of a closed one

private:
    struct Release {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    [[noreturn]] void Fail() const;

    OutputPath m_path;
    std::unique_ptr<std::FILE, Release> m_file;
};

class OutputFolder {
public:
    // Makes the folder if need be. `input` is the file that must not be overwritten; `replaces` whether others may
    // be.
    OutputFolder(std::string directory, std::string input, bool replaces);
    ~OutputFolder(); // without Finish, nothing is left: neither files nor a folder that was made for them
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    // A file that may be written to until Finish. Throws std::runtime_error where one of this name exists.
    OutputFile& Make(const std::string& name);

    // Whether a file of this name has these contents already.
    bool Holds(const std::string& name, std::string_view contents) const;

    void Finish();

    const std::string& Directory() const { return m_directory; }

private:
    std::string m_directory;
    std::string m_input;
    bool m_replaces;
    bool m_isMade = false; // the folder, for these files
    std::list<OutputFile> m_files;
};

#endif
