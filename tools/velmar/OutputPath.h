// Where a result is to stand, once it is complete.
#ifndef VELMAR_OUTPUT_PATH_H
#define VELMAR_OUTPUT_PATH_H

#include <string>

// What the system refuses is thrown as std::runtime_error naming the path and the reason.
class OutputPath {
public:
    // `input` is the file that must not be overwritten; `replaces` whether another one may be. Throws
    // std::runtime_error where it may not.
    OutputPath(std::string path, const std::string& input, bool replaces);
    ~OutputPath(); // removes what has not taken its place
    OutputPath(const OutputPath&) = delete;
    OutputPath& operator=(const OutputPath&) = delete;

    const std::string& Final() const { return m_final; }
    const std::string& Part() const { return m_part; } // what is written until then; of an earlier run it is gone

    void TakePlace();

private:
    std::string m_final;
    std::string m_part;
    bool m_isPending = true;
};

#endif
