// Helpers for the end-to-end tests that run the loader as a user would over
// whole audit directories: scratch directories, generated audit files, loader
// runs (to the end, or killed with SIGKILL midway), and the eight audit tables
// read back as sorted text so that two loads can be compared.
//   ScratchDirectory scratch;
//   Generation generation;
//   generation.seed = 7;
//   Generate(scratch / "audit", generation);
//   TestDatabase database;
//   RunLoader(database, scratch / "audit", 5);
//   TableDump rows = DumpTables(database);
#pragma once

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "../support/processRunner.h"
#include "testDatabase.h"

namespace endToEnd {

const char* const kAuditTables[] = {"QXES_DISPATCHER",    "QXES_SESSION",     "QXES_REQUEST",
                                    "QXES_ADMIN_SOURCE",  "QXES_USER_SOURCE", "QXES_DIM_USAGE",
                                    "QXES_MEASURE_USAGE", "QXES_LEVEL_USAGE"};

// A directory removed with its contents at the end of the test.
class ScratchDirectory {
  public:
    ScratchDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "afpe2eXXXXXX").string();
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

// The names in a directory, sorted.
inline std::vector<std::string> NamesIn(const std::string& directory) {
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(directory, ignored)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

inline bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The names that a later run still has to load: everything not yet set aside.
inline std::vector<std::string> PendingFiles(const std::string& directory) {
    std::vector<std::string> pending;
    for (const std::string& name : NamesIn(directory)) {
        if (!EndsWith(name, ".___")) {
            pending.push_back(name);
        }
    }
    return pending;
}

// Copies the files of `from` into `to`, which is created.
inline void CopyDirectory(const std::string& from, const std::string& to) {
    std::filesystem::create_directories(to);
    std::filesystem::copy(from, to,
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::overwrite_existing);
}

inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

// What qxesauditgen is asked to write.
struct Generation {
    uint64_t seed = 1;
    unsigned files = 4;
    unsigned lines = 400;
    unsigned sessions = 6;
    std::string prefix = "S";
    bool splitUsage = false;
};

inline ProcessResult Generate(const std::string& directory, const Generation& generation) {
    std::vector<std::string> arguments = {AFP_AUDITGEN,
                                          "--output",
                                          directory,
                                          "--seed",
                                          std::to_string(generation.seed),
                                          "--files",
                                          std::to_string(generation.files),
                                          "--lines",
                                          std::to_string(generation.lines),
                                          "--sessions",
                                          std::to_string(generation.sessions),
                                          "--session-prefix",
                                          generation.prefix};
    if (generation.splitUsage) {
        arguments.push_back("--split-usage");
    }
    return RunProcess(arguments);
}

// The loader's command line for a load of `directory` into `database`.
inline std::vector<std::string> LoaderCommand(const TestDatabase& database,
                                              const std::string& directory, int rowCount) {
    return {AFP_PROGRAM,
            "-dbname",
            database.dbName(),
            "-dbconnect",
            database.dbConnect(),
            "-dbuser",
            database.dbUser(),
            "-dbpass",
            database.dbPassword(),
            "-auditlocation",
            directory,
            "-nbrows",
            std::to_string(rowCount)};
}

inline ProcessResult RunLoader(const TestDatabase& database, const std::string& directory,
                               int rowCount) {
    return RunProcess(LoaderCommand(database, directory, rowCount));
}

// Every row of every audit table as text, fields separated by " | ", rows
// sorted, so that two loads compare regardless of insertion order.
using TableDump = std::map<std::string, std::vector<std::string>>;

inline TableDump DumpTables(TestDatabase& database) {
    TableDump dump;
    for (const char* table : kAuditTables) {
        std::vector<std::string>& rows = dump[table];
        for (const std::vector<std::string>& row :
             database.query(std::string("SELECT * FROM ") + table)) {
            std::string text;
            for (const std::string& field : row) {
                text += (text.empty() ? "" : " | ") + field;
            }
            rows.push_back(text);
        }
        std::sort(rows.begin(), rows.end());
    }
    return dump;
}

// The rows that only one of two dumps holds, at most `limit` of each table
// and side; empty when the dumps are equal.
inline std::string TableDifferences(const TableDump& expected, const TableDump& actual,
                                    size_t limit = 5) {
    std::ostringstream report;
    for (const char* table : kAuditTables) {
        const std::vector<std::string> none;
        const auto want = expected.find(table);
        const auto got = actual.find(table);
        const std::vector<std::string>& wanted = want == expected.end() ? none : want->second;
        const std::vector<std::string>& gotten = got == actual.end() ? none : got->second;
        std::vector<std::string> missing;
        std::vector<std::string> extra;
        std::set_difference(wanted.begin(), wanted.end(), gotten.begin(), gotten.end(),
                            std::back_inserter(missing));
        std::set_difference(gotten.begin(), gotten.end(), wanted.begin(), wanted.end(),
                            std::back_inserter(extra));
        if (missing.empty() && extra.empty()) {
            continue;
        }
        report << table << ": " << wanted.size() << " rows expected, " << gotten.size()
               << " found\n";
        for (size_t i = 0; i < missing.size() && i < limit; ++i) {
            report << "  missing: " << missing[i] << "\n";
        }
        for (size_t i = 0; i < extra.size() && i < limit; ++i) {
            report << "  extra:   " << extra[i] << "\n";
        }
    }
    return report.str();
}

// Counts the occurrences of `part` in `text`.
inline size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// A loader run in a child process that the test may kill at any moment. The
// destructor kills and reaps a child still running.
class LoaderProcess {
  public:
    explicit LoaderProcess(const std::vector<std::string>& arguments) {
        char outPath[] = "/tmp/afp-e2e-out-XXXXXX";
        const int outFile = ::mkstemp(outPath);
        if (outFile < 0 || arguments.empty()) {
            return;
        }
        m_outPath = outPath;
        std::vector<char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        std::fflush(nullptr);
        m_pid = ::fork();
        if (m_pid == 0) {
            ::dup2(outFile, 1);
            ::dup2(outFile, 2);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        ::close(outFile);
    }
    ~LoaderProcess() {
        if (m_pid > 0 && !m_reaped) {
            ::kill(m_pid, SIGKILL);
            Reap(0);
        }
        if (!m_outPath.empty()) {
            std::remove(m_outPath.c_str());
        }
    }
    LoaderProcess(const LoaderProcess&) = delete;
    LoaderProcess& operator=(const LoaderProcess&) = delete;

    bool started() const { return m_pid > 0; }

    // Waits `delay`, then kills the loader with SIGKILL unless it has ended by
    // itself. True when the kill is what ended it.
    bool KillAfter(std::chrono::microseconds delay) {
        std::this_thread::sleep_for(delay);
        if (m_pid <= 0 || Reap(WNOHANG)) {
            return false;
        }
        ::kill(m_pid, SIGKILL);
        Reap(0);
        return WIFSIGNALED(m_status) && WTERMSIG(m_status) == SIGKILL;
    }

    // Waits for the loader to end by itself, at most `limit`; a loader still
    // running then is killed and reported as hung.
    bool WaitAtMost(std::chrono::seconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (m_pid > 0 && !Reap(WNOHANG)) {
            if (std::chrono::steady_clock::now() > deadline) {
                ::kill(m_pid, SIGKILL);
                Reap(0);
                m_hung = true;
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return m_pid > 0;
    }

    bool hung() const { return m_hung; }
    // The exit code, or 128 + the signal that ended it; -1 while running.
    int exitStatus() const {
        if (!m_reaped) {
            return -1;
        }
        return WIFSIGNALED(m_status) ? 128 + WTERMSIG(m_status) : WEXITSTATUS(m_status);
    }
    // What the loader wrote to standard output and standard error.
    std::string output() const { return ReadFile(m_outPath); }

  private:
    bool Reap(int flags) {
        if (m_reaped) {
            return true;
        }
        pid_t reaped;
        do {
            reaped = ::waitpid(m_pid, &m_status, flags);
        } while (reaped < 0 && errno == EINTR);
        m_reaped = reaped == m_pid;
        return m_reaped;
    }

    pid_t m_pid = -1;
    int m_status = 0;
    bool m_reaped = false;
    bool m_hung = false;
    std::string m_outPath;
};

}  // namespace endToEnd
