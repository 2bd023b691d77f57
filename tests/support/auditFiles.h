// What the loader's tests share: scratch directories, audit files built line
// by line, loader runs (to the end, or killed midway), and the eight audit
// tables read back as sorted text so that two loads can be compared.
//   ScratchDirectory dir;
//   WriteFile(dir / "qxes_audit_1.log", AuditFile({Startup("host1"), Stopper()}));
//   RunLoader(database, dir.path(), 10);
//   EXPECT_EQ(DumpTables(reference), DumpTables(database));
#pragma once

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "auditSupport.h"
#include "processRunner.h"
#include "testDatabase.h"

namespace auditFiles {

using Fields = std::vector<std::string>;
using Rows = std::vector<std::vector<std::string>>;

const char kStamp[] = "2011-03-04:17:05:09.042";
const char* const kAuditTables[] = {"QXES_DISPATCHER",    "QXES_SESSION",     "QXES_REQUEST",
                                    "QXES_ADMIN_SOURCE",  "QXES_USER_SOURCE", "QXES_DIM_USAGE",
                                    "QXES_MEASURE_USAGE", "QXES_LEVEL_USAGE"};

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

// The names that a later run still has to load: everything not set aside.
inline std::vector<std::string> PendingFiles(const std::string& directory) {
    std::vector<std::string> pending;
    for (const std::string& name : NamesIn(directory)) {
        if (name.find(".___") == std::string::npos) {
            pending.push_back(name);
        }
    }
    return pending;
}

inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

using processRunnerDetail::ReadFile;

inline size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// One record line as the loader splits it.
inline Fields Line(const std::string& type, const std::string& component, const std::string& format,
                   const std::string& session, const std::string& request,
                   const std::string& message, const std::string& stamp = kStamp) {
    return {type,      stamp,  "UTC",  "Time Zone: GMT + 0:00", session, request,
            component, format, message};
}
inline Fields Info(const std::string& component, const std::string& format,
                   const std::string& session, const std::string& request,
                   const std::string& message, const std::string& stamp = kStamp) {
    return Line("I", component, format, session, request, message, stamp);
}

// One record line as the server writes it: every field followed by two tabs.
inline std::string Record(const Fields& fields) {
    std::string line;
    for (const std::string& field : fields) {
        line += field + AuditSupport::kFieldSeparator;
    }
    return line + "\n";
}

// A server start-up: one dispatcher row per distinct host.
inline std::string Startup(const std::string& host) {
    return Record(Info("QXES", "SRV", "0", "0", host + ":8080"));
}
// An error record of a component that has none: loading stops on it.
inline std::string Stopper() {
    return Record(Line("E", "QXES", "REQFAILE", "s1", "r1", "boom"));
}
inline std::string Usage(const std::string& format, const std::string& message,
                         const std::string& session = "s1", const std::string& request = "r1") {
    return Record(Line("U", "QXDS", format, session, request, message));
}

// The header, the version line (line number 1), the general line (2), then
// the lines, numbered from 3.
inline std::string AuditFile(const std::vector<std::string>& lines) {
    std::string content = std::string(AuditSupport::kAuditFileHeader) +
                          Record(Line("V", "QXES", "1", "0", "0", "9.1.0")) +
                          Record(Line("G", "QXES", "FGN", "0", "0", "1"));
    for (const std::string& line : lines) {
        content += line;
    }
    return content;
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

// The program's command line: `program` then each option and its value.
inline std::vector<std::string> Command(
    const std::string& program, const std::vector<std::pair<std::string, std::string>>& options) {
    std::vector<std::string> command = {program};
    for (const auto& option : options) {
        command.insert(command.end(), {option.first, option.second});
    }
    return command;
}

#ifdef AFP_PROGRAM
// The loader's command line for a load of `directory` into `database`.
inline std::vector<std::string> LoaderCommand(const TestDatabase& database,
                                              const std::string& directory, int rowCount) {
    return Command(AFP_PROGRAM, {{"-dbname", database.dbName()},
                                 {"-dbconnect", database.dbConnect()},
                                 {"-dbuser", database.dbUser()},
                                 {"-dbpass", database.dbPassword()},
                                 {"-auditlocation", directory},
                                 {"-nbrows", std::to_string(rowCount)}});
}

inline ProcessResult RunLoader(const TestDatabase& database, const std::string& directory,
                               int rowCount) {
    return RunProcess(LoaderCommand(database, directory, rowCount));
}
#endif

#ifdef AFP_AUDITGEN
// Writes `files` generated audit files of `lines` lines each into `directory`.
inline ProcessResult Generate(const std::string& directory, unsigned seed, unsigned files,
                              unsigned lines, const std::string& prefix = "S",
                              bool splitUsage = false) {
    std::vector<std::string> command = Command(AFP_AUDITGEN, {{"--output", directory},
                                                              {"--seed", std::to_string(seed)},
                                                              {"--files", std::to_string(files)},
                                                              {"--lines", std::to_string(lines)},
                                                              {"--sessions", "6"},
                                                              {"--session-prefix", prefix}});
    if (splitUsage) {
        command.push_back("--split-usage");
    }
    return RunProcess(command);
}
#endif

// A program run in a child process that the test may kill at any moment; the
// destructor kills and reaps a child still running.
class ChildProcess {
  public:
    explicit ChildProcess(const std::vector<std::string>& arguments) {
        char outPath[] = "/tmp/afp-child-out-XXXXXX";
        const int outFile = ::mkstemp(outPath);
        m_outPath = outPath;
        std::vector<char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        std::fflush(nullptr);
        m_pid = outFile < 0 ? -1 : ::fork();
        if (m_pid == 0) {
            ::dup2(outFile, 1);
            ::dup2(outFile, 2);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        ::close(outFile);
    }
    ~ChildProcess() {
        KillAfter(std::chrono::microseconds(0));
        std::remove(m_outPath.c_str());
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return m_pid > 0; }

    // Waits `delay`, then kills the child unless it has ended by itself (it
    // then waits as a zombie, so the identifier is still its own). True when
    // the kill is what ended it.
    bool KillAfter(std::chrono::microseconds delay) {
        std::this_thread::sleep_for(delay);
        if (m_pid > 0 && !m_reaped) {
            ::kill(m_pid, SIGKILL);
        }
        return Wait() == 128 + SIGKILL;
    }
    // Waits for the end; the exit code, or 128 + the signal that ended it.
    int Wait() {
        while (m_pid > 0 && !m_reaped) {
            m_reaped = ::waitpid(m_pid, &m_status, 0) == m_pid || errno != EINTR;
        }
        return WIFSIGNALED(m_status) ? 128 + WTERMSIG(m_status) : WEXITSTATUS(m_status);
    }
    // What the child wrote to standard output and standard error.
    std::string output() const { return ReadFile(m_outPath); }

  private:
    pid_t m_pid = -1;
    int m_status = 0;
    bool m_reaped = false;
    std::string m_outPath;
};

}  // namespace auditFiles
