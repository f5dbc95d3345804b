// Runs of the tool as a user starts them.
#ifndef TESTS_TOOL_TOOL_RUN_H
#define TESTS_TOOL_TOOL_RUN_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// Starts at construction; output and errors go into one pipe. A run that is not awaited is killed, and so is one
// that takes too long, even when it does not listen: its code is then 124, or 137.
class ToolRun {
public:
    explicit ToolRun(const std::string& commandLine, const std::string& as = "") { // a command that runs it
        int ends[2];
        if (pipe(ends) != 0) std::perror("pipe");
        // Before the fork: another thread of the test may hold the allocator's lock then, which nobody would
        // release in the child.
        const std::string shell = "exec " + as + " timeout --foreground -k 5 40 " VELMAR_BINARY " " + commandLine;
        m_process = fork();
        if (m_process == 0) {
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            close(ends[0]);
            close(ends[1]);
            execl("/bin/sh", "sh", "-c", shell.c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        m_output = fdopen(ends[0], "r");
    }
    ~ToolRun() {
        if (m_process > 0) {
            kill(m_process, SIGTERM);
            Wait();
        }
        std::fclose(m_output);
    }
    ToolRun(const ToolRun&) = delete;
    ToolRun& operator=(const ToolRun&) = delete;

    std::string Line() {
        std::string line;
        for (int c = std::fgetc(m_output); c != EOF && c != '\n'; c = std::fgetc(m_output))
            line += static_cast<char>(c);
        return line;
    }

    std::string Rest() {
        std::string text;
        for (int c = std::fgetc(m_output); c != EOF; c = std::fgetc(m_output)) text += static_cast<char>(c);
        return text;
    }

    void Interrupt() const { kill(m_process, SIGINT); }

    int Wait() { // the exit code
        int status = 0;
        waitpid(m_process, &status, 0);
        m_process = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t m_process = 0;
    std::FILE* m_output = nullptr;
};

// Of the stream's datagrams that arrive at this machine, by a rule of its packet filter. Numbers are taken modulo.
inline std::string DroppingStream(const std::string& numbers) {
    return "nft add table ip t; nft 'add chain ip t c { type filter hook input priority 0; }'; nft 'add rule ip t "
           "c "
           "udp dport 5231 numgen inc mod " +
           numbers + " drop'";
}

// A simulated server that is up; it ends by itself or with the test.
class Server {
public:
    explicit Server(const std::string& options) : m_run("simulate " + options) {
        const std::string line = m_run.Line();
        EXPECT_THAT(line, testing::HasSubstr("serving port 5230"));
    }
    std::string Stop() {
        m_run.Interrupt();
        std::string text = m_run.Rest();
        EXPECT_EQ(m_run.Wait(), 0) << text;
        return text;
    }

private:
    ToolRun m_run;
};

inline std::string Output(const std::string& commandLine, int exitCode, const std::string& as = "") {
    ToolRun run(commandLine, as);
    std::string text = run.Rest();
    EXPECT_EQ(run.Wait(), exitCode) << commandLine << '\n' << text;
    return text;
}

// For `as`: files grow to 2 KB at most, as if the disk were full. What a program that counts its lines writes at
// its end would not fit either, and goes nowhere.
inline const std::string kOnAFullDisk = "env LLVM_PROFILE_FILE=/dev/null sh -c 'ulimit -f 4; exec \"$@\"' sh";

// A folder of this process alone, for tests run side by side; it goes when the process ends.
class TemporaryFolder {
public:
    TemporaryFolder() : m_path(testing::TempDir() + "velmar-XXXXXX") {
        if (mkdtemp(m_path.data()) == nullptr) std::perror("mkdtemp");
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Path(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

inline std::string Path(const std::string& name) {
    static const TemporaryFolder folder;
    return folder.Path(name);
}

inline std::string TemporaryFile(const std::string& name, const std::string& content) {
    std::string path = Path(name);
    std::ofstream(path) << content;
    return path;
}

#endif
