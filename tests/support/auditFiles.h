// What the loader's tests share: audit files built line by line, loader and
// writer runs, and the eight audit tables read back as sorted text so that two
// loads can be compared.
//   ScratchDirectory dir;
//   WriteFile(dir / "qxes_audit_1.log", AuditFile({Startup("host1"), Stopper()}));
//   RunLoader(database, dir.path(), 10);
//   EXPECT_EQ(DumpTables(reference), DumpTables(database));
#pragma once

#include <algorithm>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "auditSupport.h"
#include "processRunner.h"
#include "testDatabase.h"

namespace auditFiles {

using Fields = std::vector<std::string>;

const char kStamp[] = "2011-03-04:17:05:09.042";

// A run's standard output without the summary message (AFP-0058) that ends
// every run that reached the database.
inline std::string WithoutSummary(const std::string& out) {
    return std::regex_replace(out, std::regex("AFP-0058: .*\n?"), "");
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
// A start-up line whose dispatcher row the database refuses as a failure of
// its own (not of the row's values), once InstallStopper() armed it: the
// load of the file stops there, as on a full disk.
inline std::string Stopper() {
    return Startup("stop-here");
}
inline void InstallStopper(TestDatabase& database) {
    if (database.dbType() == "SQ") {
        database.exec(
            "CREATE TRIGGER afp_stopper BEFORE INSERT ON QXES_DISPATCHER WHEN NEW.MACHINE_NAME = "
            "'stop-here' BEGIN SELECT RAISE(ROLLBACK, 'the stopper'); END");
        return;
    }
    database.exec(
        "CREATE FUNCTION afp_stopper() RETURNS trigger AS $$ BEGIN IF NEW.machine_name = "
        "'stop-here' THEN RAISE EXCEPTION 'the stopper' USING ERRCODE = 'XX000'; END IF; RETURN "
        "NEW; END $$ LANGUAGE plpgsql");
    database.exec(
        "CREATE TRIGGER afp_stopper BEFORE INSERT ON QXES_DISPATCHER FOR EACH ROW EXECUTE "
        "FUNCTION afp_stopper()");
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
using Options = std::vector<std::pair<std::string, std::string>>;
inline std::vector<std::string> Command(const std::string& program, const Options& options) {
    std::vector<std::string> command = {program};
    for (const auto& option : options) {
        command.insert(command.end(), {option.first, option.second});
    }
    return command;
}

#ifdef AFP_PROGRAM
// The loader's command line for a load of `directory` into `database`, then `extra`.
inline std::vector<std::string> LoaderCommand(const TestDatabase& database,
                                              const std::string& directory, int rowCount,
                                              Options extra = {}) {
    extra.insert(extra.begin(), {{"-dbname", database.dbName()},
                                 {"-dbconnect", database.dbConnect()},
                                 {"-dbuser", database.dbUser()},
                                 {"-dbpass", database.dbPassword()},
                                 {"-auditlocation", directory},
                                 {"-nbrows", std::to_string(rowCount)}});
    return Command(AFP_PROGRAM, extra);
}

inline ProcessResult RunLoader(const TestDatabase& database, const std::string& directory,
                               int rowCount) {
    return RunProcess(LoaderCommand(database, directory, rowCount));
}

// What runs a command as the user nobody (root ignores file modes).
const std::vector<std::string> kAsNobody = {
    "timeout", "60", "setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"};

// A copy of the loader and its catalogue below `directory` that any user may
// run (the build tree may lie below a directory private to root); its path.
inline std::string ProgramCopyForAnyone(const std::string& directory) {
    namespace fs = std::filesystem;
    const std::string catalogue = "share/qxesauditfileprocessor/en-us/afpmsg.cat";
    fs::create_directories(fs::path(directory + "/" + catalogue).parent_path());
    fs::create_directories(directory + "/bin");
    fs::copy_file(fs::path(AFP_PROGRAM).parent_path().parent_path() / catalogue,
                  directory + "/" + catalogue);
    fs::copy_file(AFP_PROGRAM, directory + "/bin/qxesauditfileprocessor");
    RunProcess({"chmod", "-R", "a+rX", directory});
    return directory + "/bin/qxesauditfileprocessor";
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
    command.resize(command.size() + (splitUsage ? 1 : 0), "--split-usage");
    return RunProcess(command);
}
#endif

}  // namespace auditFiles
