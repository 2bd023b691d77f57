// Helpers for the tests of the loading loop: scratch audit directories, audit
// files written line by line, and a Parser whose loading state can be read.
//   ScratchDir dir;
//   WriteFile(dir / "qxes_audit_1.log", AuditFile({Startup("host1")}));
//   ParserUnderTest parser(LoadingOptions(dir.path(), 10), &database.db(), "/");
//   parser.ParseDir();
#pragma once

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "afpOptions.h"
#include "auditSupport.h"
#include "parser.h"

namespace loadingTest {

// A Parser with its loading state readable.
class ParserUnderTest : public Parser {
  public:
    using Parser::lineState;
    using Parser::Parser;
    using Parser::TableFor;
    using Parser::versionMessage;
    using Parser::versionNumber;
    using Parser::versionTimeStamp;
};

// A directory removed with its contents at the end of the test.
class ScratchDir {
  public:
    ScratchDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "afploadXXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) {
            m_path = pattern;
        }
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

    // The names in the directory.
    std::set<std::string> Names() const {
        std::set<std::string> names;
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(m_path, ignored)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

  private:
    std::string m_path;
};

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

inline size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

const char kStamp[] = "2011-03-04:17:05:09.042";

// One record line as the server writes it: every field followed by two tabs.
inline std::string Record(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& field : fields) {
        line += field + AuditSupport::kFieldSeparator;
    }
    return line + "\n";
}

inline std::string Version() {
    return Record({"V", kStamp, "UTC", "Time Zone: GMT + 0:00", "0", "0", "QXES", "1", "9.1.0"});
}
// The file's generation, which the start-up rows carry.
inline std::string General() {
    return Record({"G", kStamp, "UTC", "Time Zone: GMT + 0:00", "0", "0", "QXES", "FGN", "1"});
}
// A server start-up: one dispatcher row per distinct host.
inline std::string Startup(const std::string& host) {
    return Record(
        {"I", kStamp, "UTC", "Time Zone: GMT + 0:00", "0", "0", "QXES", "SRV", host + ":8080"});
}
// An error record of a component that has none: loading stops on it.
inline std::string Stopper() {
    return Record(
        {"E", kStamp, "UTC", "Time Zone: GMT + 0:00", "s1", "r1", "QXES", "REQFAILE", "boom"});
}
inline std::string Usage(const std::string& format, const std::string& message) {
    return Record(
        {"U", kStamp, "UTC", "Time Zone: GMT + 0:00", "s1", "r1", "QXDS", format, message});
}

// The header, the version line (line number 1), the general line (2), then the
// lines, numbered from 3.
inline std::string AuditFile(const std::vector<std::string>& lines) {
    std::string content = std::string(AuditSupport::kAuditFileHeader) + Version() + General();
    for (const std::string& line : lines) {
        content += line;
    }
    return content;
}

inline AFPOptions LoadingOptions(const std::string& directory, int rowCount) {
    AFPOptions options;
    options.auditLocation = directory;
    options.transactionRowCount = rowCount;
    return options;
}

}  // namespace loadingTest
