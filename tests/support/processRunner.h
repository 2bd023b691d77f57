// What tests that work with files and programs share: scratch directories,
// files read and written whole, and programs run as a user would run them,
// to the end or killed midway.
//   ScratchDirectory dir;
//   ProcessResult result = RunProcess({AFP_PROGRAM, "-auditlocation", dir.path()});
//   EXPECT_NE(result.out.find("AFP-0015:"), std::string::npos);
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

inline std::string ReadFile(const std::string& path) {
    std::stringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

// Writes the file dated an hour back: the audit files of the tests stand for
// files their server finished writing a while ago, which the loader sets
// aside once loaded. A test that wants a file still in writing dates it anew.
inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    std::error_code ignored;
    std::filesystem::last_write_time(
        path, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1), ignored);
}

// Copies a file or a directory of files with their modification times: a
// copy of a finished audit file is finished too.
inline void CopyWithTimes(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::filesystem::copy(from, to);
    if (!std::filesystem::is_directory(from)) {
        std::filesystem::last_write_time(to, std::filesystem::last_write_time(from));
        return;
    }
    for (const auto& entry : std::filesystem::directory_iterator(from)) {
        std::filesystem::last_write_time(to / entry.path().filename(), entry.last_write_time());
    }
}

// The names in a directory, sorted, but hidden ones (the loader's directory lock).
inline std::vector<std::string> NamesIn(const std::string& directory) {
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(directory, ignored)) {
        const std::string name = entry.path().filename().string();
        names.resize(names.size() + (name[0] != '.' ? 1 : 0), name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A directory removed with its contents at the end of the test.
class ScratchDirectory {
  public:
    ScratchDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "afptestXXXXXX").string();
        if (::mkdtemp(pattern.data()) != nullptr) {
            m_path = pattern;
        }
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

struct ProcessResult {
    int exitStatus = -1;  // the exit code, or 128 + the signal that ended it
    std::string out;
    std::string err;
};

// arguments[0], searched on PATH, run in a child process with standard input
// from /dev/null ("env" first changes its environment). The test may signal
// it at any moment; the destructor kills and reaps a child still running.
class ChildProcess {
  public:
    explicit ChildProcess(const std::vector<std::string>& arguments) {
        char outPath[] = "/tmp/afp-out-XXXXXX", errPath[] = "/tmp/afp-err-XXXXXX";
        const int outFile = ::mkstemp(outPath), errFile = ::mkstemp(errPath);
        m_outPath = outPath, m_errPath = errPath;
        std::vector<char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        std::fflush(nullptr);
        m_pid = outFile < 0 || errFile < 0 || arguments.empty() ? -1 : ::fork();
        if (m_pid == 0) {
            ::dup2(::open("/dev/null", O_RDONLY), 0);
            ::dup2(outFile, 1);
            ::dup2(errFile, 2);
            ::execvp(argv[0], argv.data());
            ::_exit(127);
        }
        ::close(outFile);
        ::close(errFile);
    }
    ~ChildProcess() {
        Signal(SIGKILL);
        Wait();
        std::remove(m_outPath.c_str());
        std::remove(m_errPath.c_str());
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Sends a signal to the child while it runs (once ended, it waits as a
    // zombie, so the identifier is still its own).
    void Signal(int signal) {
        if (m_pid > 0 && !m_reaped) {
            ::kill(m_pid, signal);
        }
    }
    // Waits for the end; the exit code, or 128 + the signal that ended it.
    int Wait() {
        while (m_pid > 0 && !m_reaped) {
            m_reaped = ::waitpid(m_pid, &m_status, 0) == m_pid || errno != EINTR;
        }
        return m_pid <= 0              ? -1
               : WIFSIGNALED(m_status) ? 128 + WTERMSIG(m_status)
                                       : WEXITSTATUS(m_status);
    }
    std::string out() const { return ReadFile(m_outPath); }
    std::string err() const { return ReadFile(m_errPath); }
    std::string output() const { return out() + err(); }

  private:
    pid_t m_pid = -1;
    int m_status = 0;
    bool m_reaped = false;
    std::string m_outPath, m_errPath;
};

inline ProcessResult RunProcess(const std::vector<std::string>& arguments) {
    ChildProcess child(arguments);
    const int exitStatus = child.Wait();
    return {exitStatus, child.out(), child.err()};
}
