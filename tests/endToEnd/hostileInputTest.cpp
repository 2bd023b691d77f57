// The loader over a directory of hostile audit files, one per case, whose
// hostile lines are followed by a canary of good lines. Each hostile line is
// refused alone, with its cause, into the reject file, no content stops a
// file, and what lands is exactly what the same files without their bad lines
// load. Then entries that cannot be claimed, met by a loader that is not root.
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "../support/auditFiles.h"

namespace {

using namespace auditFiles;

std::string InfoLine(const std::string& session, const std::string& component,
                     const std::string& format, const std::string& message,
                     const std::string& stamp = kStamp, const std::string& request = "1") {
    return Record(Info(component, format, session, request, message, stamp));
}

// A whole request of one session: source, user, class, usage and success.
std::string Request(const std::string& session, const std::string& source = "Sales",
                    const std::string& user = "jsmith", const std::string& request = "1") {
    const auto info = [&](const char* component, const char* format, const std::string& text) {
        return InfoLine(session, component, format, text, kStamp, request);
    };
    return info("QXRQ", "REQINFO", source + ",cube,\"/data/cubes/Sales.mdc\",,0") +
           info("QXDS", "USR", user) + info("QXDS", "UC", "Analysts") +
           Usage("QXUC", "D1,Measures;D1L1;M1", session, request) +
           Usage("QXUH", "Products,Measures;Product Line;Revenue", session, request) +
           Usage("QXUD", "5,1;7;42", session, request) +
           info("QXRQ", "SUCC", "Cube view returned 10 cells.");
}

// An administration action on a source: a request of its own.
std::string Admin(const std::string& session, const std::string& source) {
    return Record(Info("QXES", "COPY", session, "9", "Report," + source));
}

const char kInjectionSource[] = "x' OR 'a'='a";
const char kInjectionUser[] = "'); DROP TABLE QXES_SESSION; --";
const char kQuotedUser[] = "O'Brien \"the \\\\ great\" \\' '' \\";
// Read with backslash escapes, it would end its literal early and the rest
// would rewrite every row.
const char kBackslashInjection[] = "x\\' OR 1=1 --";

// Lines of a hostile file, with what must become of them: loaded (the
// reference then loads `reference`) or refused with a cause that holds `cause`,
// case aside (the databases word theirs differently).
struct Lines {
    std::string text;
    std::string cause;
    std::string reference;
};
Lines Good(const std::string& text) {
    return {text, "", text};
}
Lines Bad(const std::string& text, const std::string& cause) {
    return {text, cause, ""};
}

// One file: its lines after a head of header, version, general and start-up
// lines, or, without lines, a head that is all of it and is refused whole.
// kCut: a last line without its line end, never read; kFresh: modified just
// now, so that the rest of that line is awaited.
enum Flags { kCrlf = 1, kCut = 2, kFresh = 4 };
struct HostileCase {
    std::string name;
    std::vector<Lines> body;
    std::set<std::string> messages = {};  // besides AFP-0026 and AFP-0051 of refused lines
    int flags = 0;
    std::string head = "";
};
HostileCase Whole(const std::string& name, const std::string& message, const std::string& head) {
    return {name, {}, {message}, 0, head};
}

// A line whose report name runs past 10,240 bytes, with a forged record after
// it on the same line.
std::string Smuggler(const std::string& request, const std::string& forged) {
    const std::string head = Record(Info("QXES", "COPY", "M-smuggled", request, "Report,"));
    const std::string prefix = head.substr(0, head.size() - 3);
    const std::string line = prefix + std::string(10240 - prefix.size() - 2, 'r') + "\t\t";
    return forged.empty() ? line + "\n" : line + forged;
}

std::vector<HostileCase> HostileCases() {
    std::mt19937 random(5);
    std::string garbage(64 * 1024, '\0');
    for (char& byte : garbage) {
        byte = static_cast<char>(random() & 0xff);
    }
    const std::string header = AuditSupport::kAuditFileHeader;
    const std::string general = Record(Line("G", "QXES", "FGN", "0", "0", "1"));
    const std::string forgedRequest =
        InfoLine("forged", "QXRQ", "REQINFO", "Forged,cube,\"/x\",,0");
    const char* const kSource = "Sales,cube,\"/x\",,0";
    const std::string split = Request("H21");
    const size_t cut = split.rfind('\n', split.find("\t\tQXUD\t\t")) + 1;
    return {
        Whole("garbage", "AFP-0028", garbage),
        Whole("empty", "AFP-0024", ""),
        Whole("headeronly", "AFP-0024", header),
        Whole("shortheader", "AFP-0028",
              header.substr(0, header.size() - 1) + AuditFile({}).substr(header.size())),
        Whole("noversion", "AFP-0029", header + general + Request("H3")),
        Whole("badversion", "AFP-0029",
              header + Record(Line("v", "QXES", "1", "0", "0", "9.1.0")) + Request("H4")),
        {"crlf",
         {Good(Request("H2")),
          Bad(Record(Line("X", "QXDS", "USR", "H2", "1", "x")), "the line type X is none of"),
          Bad(Record({"?", "?", "?", "?", "?", "?", "?", "?", "?"}), "the line type ? is none")},
         {},
         kCrlf},
        {"nulbytes",
         {Bad(InfoLine(std::string("H5\0evil", 7), "QXDS", "USR", "nul"),
              "SESSION_ID of table QXES_SESSION is not valid"),
          Bad(std::string(100, '\0') + "\n", "none of")}},
        {"megabyte",
         {Bad("I\t\t" + std::string(kStamp) + "\t\tUTC\t\t" + std::string(1 << 20, 'S') +
                  "\t\t1\t\tQXDS\t\tUSR\t\tbig\n",
              "longer than 1048576 bytes"),
          Bad(std::string((1 << 20) + 1, 'x') + "\n", "longer than 1048576 bytes")}},
        {"truncated",
         {Bad("I\t\t" + std::string(kStamp) + "\t\tUTC\t\t\n", "has 3 fields, fewer than the 9"),
          Bad("U\t\t2011-03-04:17:0\nE\t\t" + std::string(kStamp) + "\n", "has 2 fields"),
          Bad(Record({"I", kStamp, "UTC", "Time Zone: GMT + 0:00", "H7", "1", "QXRQ"}),
              "has 7 fields")},
         {},
         kCut},
        {"growing", {Good(Request("H14"))}, {"AFP-0050"}, kCut | kFresh},
        {"utf8",
         {Bad(Request("H11\xff", "Sa\xc3les", "\xed\xa0\x80\xc0\xaf"), "is not valid UTF-8"),
          Bad(InfoLine("H11", "QXDS", "USR", "\xf8\x88\x80\x80\x80"),
              "field 9 is not valid UTF-8")}},
        // The session and source rows must not outlive the refused request row.
        {"badstamps",
         {Bad(InfoLine("H12", "QXRQ", "REQINFO", kSource, "2011-03-0"),
              "the time stamp 2011-03-0 is not a real date and time"),
          Bad(InfoLine("H13", "QXRQ", "REQINFO", kSource, "2011-02-30:25:61:61.000"),
              "not a real date and time")}},
        // Unknown component and formats, a REQINFO of six parts (a comma in the cube name).
        // Each cause says in plain words what is wrong, the assertion after it.
        {"assertions",
         {Good(InfoLine("H16", "QXRQ", "REQINFO", kSource)),
          Bad(InfoLine("H15", "QXZZ", "REQINFO", kSource),
              "unknown component \"QXZZ\" in field 7 of an information record [KRL_ASSERT"),
          Bad(Record(Line("E", "QXZZ", "REQFAILE", "H15", "1", "failed")),
              "unknown component \"QXZZ\" in field 7 of an error record"),
          Bad(InfoLine("H16", "QXRQ", "REQLOST", "x"), "unknown format \"REQLOST\" in field 8"),
          Bad(InfoLine("H16", "QXPB", "TRVZ", "x"), "unknown format \"TRVZ\" in field 8"),
          Bad(Usage("QXUZ", "D1;L1;M1", "H16", "1"), "unknown format \"QXUZ\" in field 8"),
          Bad(InfoLine("H17", "QXRQ", "REQINFO", "Sal,es,cube,\"/x\",,0"),
              "REQINFO message has 6 parts, expected 5")}},
        {"counts",
         {Good(Usage("QXUC", "D1,Measures;D1L1;M1", "H18", "1") +
               Usage("QXUH", "Products,Measures;Product Line;Revenue", "H18", "1")),
          Bad(Usage("QXUD", "5,1,9;7;42,43", "H18", "1"),
              "usage counts for 2 dimensions but codes for 1"),
          Bad(Usage("QXUD", "5,1;7;42", "H18", "2"), "no usage codes and names")}},
        // A counts line with a row the database refuses and a count that is
        // not a number leaves nothing behind for the clean one after it in its batch.
        {"poisoned",
         {Good(Usage("QXUC", "D1,D2,M;L1,L1;L2;MC1", "H22", "1") +
               Usage("QXUH", "N1,N2,NM;NL1,NL1;NL2;NMC1", "H22", "1") +
               Usage("QXUC", "D1,M;L1;MC1", "H23", "1") +
               Usage("QXUH", "N1,NM;NL1;NMC1", "H23", "1") + "\n"),
          Bad(Usage("QXUD", "1,2,3;4,5;5.5;7", "H22", "1"), "is not valid for its type"),
          Good(Usage("QXUD", "1,2;3;4", "H23", "1"))}},
        {"keys",
         {Bad(InfoLine(std::string(100, 'k'), "QXRQ", "REQINFO", kSource),
              "key column SESSION_ID of table QXES_SESSION is 100 bytes long"),
          Good(Admin("H19", "first")), Bad(Admin("H19", "second"), "unique constraint")},
         {"AFP-0030", "AFP-0032", "AFP-0033"}},
        // Truncated report names; the forged records are never read as records.
        {"smuggled",
         {{Smuggler("1", forgedRequest), "", Smuggler("1", "")},
          {Smuggler("2", Startup("forged")), "", Smuggler("2", "")}},
         {"AFP-0030", "AFP-0031", "AFP-0033"}},
        {"quotes",
         {Good(Request("H9'\"\\", "Sa'les\\\"", kQuotedUser) + Request("H9", "\\'", "\\") +
               Admin("H9", kQuotedUser))}},
        {"injection",
         {Good(Request("H10", kInjectionSource, kInjectionUser) +
               Request("' OR '1'='1", kInjectionUser, kInjectionSource) +
               Admin("H10", kInjectionUser) +
               Request("H20", kBackslashInjection, kBackslashInjection, kBackslashInjection))}},
        // A request that runs on into the next file by name order.
        {"split1", {Good(split.substr(0, cut))}},
        {"split2", {Good(split.substr(cut))}},
    };
}

class HostileInputTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override { AFP_REQUIRE_DATABASE(m_hostile); }

    ScratchDirectory m_scratch;
    TestDatabase m_hostile{GetParam()};
    TestDatabase m_good{GetParam()};
};

TEST_P(HostileInputTest, HostileLinesAreRefusedAloneAndEveryGoodLineLands) {
    const std::string hostile = m_scratch / "hostile", good = m_scratch / "good";
    const std::string errorLog = m_scratch / "errors.log";
    std::filesystem::create_directories(hostile), std::filesystem::create_directories(good);
    if (GetParam() == TestBackend::kPostgreSQL) {
        m_hostile.exec("ALTER DATABASE " + m_hostile.dbName() +
                       " SET standard_conforming_strings = off");
    }
    // Per file: the messages due; per "file:line": the cause and the raw line.
    std::map<std::string, std::set<std::string>> dueMessages;
    std::map<std::string, std::pair<std::string, std::string>> dueRejects;
    std::map<std::string, std::string> dueOffsets;
    std::vector<std::string> staying;
    const std::vector<HostileCase> cases = HostileCases();
    for (size_t index = 0; index < cases.size(); ++index) {
        HostileCase file = cases[index];
        const std::string name = "qxes_audit_" + std::string(index < 10 ? "0" : "") +
                                 std::to_string(index) + "_" + file.name + ".log";
        // A file refused whole has no canary: the next file's shows that loading goes on.
        if (!file.body.empty()) {
            file.body.push_back(Good(Request("C-" + file.name)));
            file.head = AuditFile({Startup(file.name)});
        }
        std::string content = file.head, reference;
        // Numbered as grep -n counts.
        size_t lineNumber = Count(file.head, "\n") + 1;
        std::vector<std::string> refused;
        for (const Lines& lines : file.body) {
            content += lines.text;
            reference += lines.reference;
            std::istringstream split(lines.text);
            for (std::string line; std::getline(split, line); ++lineNumber) {
                if (!lines.cause.empty()) {
                    refused.push_back(hostile + "/" + name + ":" + std::to_string(lineNumber));
                    dueRejects[refused.back()] = {lines.cause, line.substr(0, 1 << 20)};
                    dueMessages[name].insert({"AFP-0026", "AFP-0051"});
                }
            }
        }
        if (file.flags & kCut) {
            content += "I\t\t" + std::string(kStamp) + "\t\tUTC\t\tTime Zone";
        }
        if (file.flags & kCrlf) {
            for (size_t lf = content.find('\n'); lf != std::string::npos;
                 lf = content.find('\n', lf + 2)) {
                content.insert(lf, "\r");
            }
        }
        // Where each refused line begins in the file as written.
        for (const std::string& where : refused) {
            size_t offset = 0;
            for (size_t line = std::stoul(where.substr(where.rfind(':') + 1)); line > 1; --line) {
                offset = content.find('\n', offset) + 1;
            }
            dueOffsets[where] = "at byte " + std::to_string(offset) + ": ";
        }
        WriteFile(hostile + "/" + name, content);
        if (!reference.empty()) {
            WriteFile(good + "/" + name, file.head + reference);
        }
        if (file.flags & kFresh) {
            staying.push_back(name);
            std::filesystem::last_write_time(hostile + "/" + name,
                                             std::filesystem::file_time_type::clock::now());
        }
        for (const std::string& message : file.messages) {
            dueMessages[name].insert(message);
        }
    }
    const ProcessResult goodRun = RunLoader(m_good, good, 3);
    ASSERT_EQ(goodRun.exitStatus, 0);
    ASSERT_EQ(Count(goodRun.out, "AFP-0026") + Count(goodRun.out, "AFP-0027"), 0u) << goodRun.out;

    const ProcessResult run =
        RunProcess(LoaderCommand(m_hostile, hostile, 3, {{"-errorlog", errorLog}}));
    EXPECT_EQ(run.exitStatus, 0) << run.err;  // 128 + a signal after a crash
    EXPECT_EQ(PendingFiles(hostile), staying);

    // The messages of each file follow its banner "* <path>".
    std::map<std::string, std::set<std::string>> messages;
    std::istringstream log(WithoutSummary(ReadFile(errorLog)));
    std::string file;
    for (std::string line; std::getline(log, line);) {
        if (line.rfind("* " + hostile + "/", 0) == 0) {
            file = line.substr(hostile.size() + 3);
        } else if (line.rfind("AFP-", 0) == 0) {
            messages[file].insert(line.substr(0, 8));
        }
    }
    EXPECT_EQ(messages, dueMessages);

    // Records of two lines: "# <file>:<line>: at byte <offset>: <cause>", then the raw line.
    std::istringstream rejects(ReadFile(errorLog + ".rejected"));
    size_t records = 0;
    for (std::string where, raw; std::getline(rejects, where) && std::getline(rejects, raw);) {
        ++records;
        const size_t causeAt = where.find(": ", 2);
        const auto due = dueRejects.find(where.substr(2, causeAt - 2));
        ASSERT_NE(due, dueRejects.end()) << where;
        std::string cause = where.substr(causeAt + 2), fragment = due->second.first;
        for (std::string* text : {&cause, &fragment}) {
            std::transform(text->begin(), text->end(), text->begin(), ::tolower);
        }
        EXPECT_NE(cause.find(fragment), std::string::npos) << where << "\nexpected: " << fragment;
        EXPECT_EQ(cause.rfind(dueOffsets[due->first], 0), 0u) << where;
        EXPECT_EQ(raw, due->second.second) << where;
    }
    EXPECT_EQ(records, dueRejects.size());

    EXPECT_EQ(DumpTables(m_good), DumpTables(m_hostile));
    // As written, quotes and backslashes alike; the request split over two files is whole.
    const std::vector<std::pair<std::string, Rows>> landed = {
        {"SELECT USER_NAME FROM QXES_SESSION WHERE SESSION_ID = 'H9''\"\\'", {{kQuotedUser}}},
        {"SELECT USER_NAME FROM QXES_SESSION WHERE SESSION_ID = 'H10'", {{kInjectionUser}}},
        {"SELECT USER_NAME, REQUEST_ID, MESSAGE FROM QXES_SESSION NATURAL JOIN QXES_REQUEST "
         "WHERE SESSION_ID = 'H20'",
         {{kBackslashInjection, kBackslashInjection, "Cube view returned 10 cells."}}},
        {"SELECT DIM_COUNT, REQUEST_STATUS FROM QXES_DIM_USAGE NATURAL JOIN QXES_REQUEST "
         "WHERE SESSION_ID = 'H21'",
         {{"5", "1"}}},
    };
    for (const auto& check : landed) {
        EXPECT_EQ(m_hostile.query(check.first), check.second) << check.first;
    }
}

AFP_ON_BOTH_BACKENDS(HostileInputTest);

// Entries that cannot be claimed, met by a loader run as nobody (root ignores
// file modes): each is reported and left exactly as it is, and nothing loads.
TEST(HostileInputEntries, EntriesThatCannotBeClaimedAreReportedAndLeftAsTheyAre) {
    const passwd* nobody = ::getpwnam("nobody");
    if (::geteuid() != 0 || nobody == nullptr || ::access("/usr/bin/setpriv", X_OK) != 0) {
        GTEST_SKIP() << "needs root, the user nobody and setpriv";
    }
    TestDatabase database;
    AFP_REQUIRE_DATABASE(database);
    namespace fs = std::filesystem;
    const std::string databaseDir = fs::path(database.dbName()).parent_path();
    ASSERT_EQ(RunProcess({"chown", "-R", "nobody:", databaseDir}).exitStatus, 0);
    ScratchDirectory scratch;
    const std::string program = ProgramCopyForAnyone(scratch.path());
    const std::string content = AuditFile({Request("P1")});
    const std::string target = scratch / "qxes_audit_target.log";  // outside every audit directory
    WriteFile(target, content);
    auto file = [&content](mode_t mode) {
        return [&content, mode](const std::string& path) {
            WriteFile(path, content);
            return ::chmod(path.c_str(), mode);
        };
    };
    struct EntryCase {
        std::string name;
        bool writable;  // the directory is the loader's
        std::function<int(const std::string&)> make;
        std::string message;
    };
    const std::vector<EntryCase> cases = {
        {"qxes_audit_1.log", false, file(0644),
         "AFP-0052: The audit file %s could not be claimed: cannot rename it to "
         "%s_processing: Permission denied."},
        {"qxes_audit_2.log", true, file(0600),
         "AFP-0052: The audit file %s could not be claimed: cannot open it: Permission denied."},
        {"qxes_audit_link.log", true,
         [&](const std::string& path) { return ::symlink(target.c_str(), path.c_str()); },
         "AFP-0053: %s is not a regular file (symbolic link)"},
        {"qxes_audit_fifo.log", true,
         [](const std::string& path) { return ::mkfifo(path.c_str(), 0666); },
         "AFP-0053: %s is not a regular file (fifo)"},
    };
    for (const EntryCase& entry : cases) {
        const std::string directory = scratch / entry.name.substr(0, entry.name.size() - 4);
        const std::string path = directory + "/" + entry.name;
        std::filesystem::create_directory(directory);
        ASSERT_EQ(entry.make(path), 0) << path;
        if (entry.writable) {
            ASSERT_EQ(::chown(directory.c_str(), nobody->pw_uid, nobody->pw_gid), 0);
        }
        std::vector<std::string> command = LoaderCommand(database, directory, 3);
        command.front() = program;
        command.insert(command.begin(), kAsNobody.begin(), kAsNobody.end());
        const ProcessResult run = RunProcess(command);
        EXPECT_EQ(run.exitStatus, 0) << entry.name << run.err;  // 124: it waited on the fifo
        const std::string message = std::regex_replace(entry.message, std::regex("%s"), path);
        EXPECT_NE(run.out.find(message), std::string::npos) << message << "\n" << run.out;
        EXPECT_NE(run.out.find("AFP-0058"), std::string::npos) << run.out;
        EXPECT_EQ(NamesIn(directory), std::vector<std::string>{entry.name});
        EXPECT_EQ(std::filesystem::is_regular_file(path) ? ReadFile(path) : content, content);
        EXPECT_EQ(ReadFile(target), content);
        for (const char* table : kAuditTables) {
            EXPECT_EQ(database.countRows(table), 0) << entry.name << " " << table;
        }
    }
}

// The third of six files, whose requests run on into the next, cannot be read:
// the files after it wait (75) rather than lose the usage that runs on into
// them, and once it can be read the next run loads what one run loads.
class UnreadableFileTest : public ::testing::TestWithParam<TestBackend> {};

TEST_P(UnreadableFileTest, HoldsBackTheFilesAfterItUntilItCanBeRead) {
    if (::geteuid() != 0 || ::getpwnam("nobody") == nullptr) {
        GTEST_SKIP() << "needs root and the user nobody";
    }
    ScratchDirectory scratch;
    TestDatabase database(GetParam()), reference(GetParam());
    AFP_REQUIRE_DATABASE(database);
    const std::string audit = scratch / "audit";
    // Generated twice, not copied: a copy would be new, and put back as still written.
    for (const std::string& directory : {scratch / "whole", audit}) {
        ASSERT_EQ(Generate(directory, 7, 6, 400, "U", true).exitStatus, 0);
    }
    ASSERT_EQ(RunLoader(reference, scratch / "whole", 3).exitStatus, 0);
    std::vector<std::string> command =
        LoaderCommand(database, audit, 3, {{"-exitstatus", "detailed"}});
    command.front() = ProgramCopyForAnyone(scratch / "program");
    command.insert(command.begin(), kAsNobody.begin(), kAsNobody.end());
    const std::string owned = GetParam() == TestBackend::kSQLite
                                  ? std::filesystem::path(database.dbName()).parent_path().string()
                                  : audit;
    ASSERT_EQ(RunProcess({"chown", "-R", "nobody:", audit, owned}).exitStatus, 0);
    ASSERT_EQ(::chmod(scratch.path().c_str(), 0755), 0);
    const std::vector<std::string> files = NamesIn(audit);
    const std::string third = audit + "/" + files[2];
    ASSERT_EQ(::chmod(third.c_str(), 0), 0);
    const ProcessResult first = RunProcess(command);
    EXPECT_EQ(first.exitStatus, 75) << first.out;
    EXPECT_NE(first.out.find("AFP-0071: Loading of the audit directory " + audit + " stops at " +
                             third + " for this run"),
              std::string::npos)
        << first.out;
    EXPECT_NE(first.out.find("2 audit files loaded, 0 set aside, 1 stopped, 0 still being "
                             "written, 3 waiting"),
              std::string::npos);
    EXPECT_EQ(PendingFiles(audit), std::vector<std::string>(files.begin() + 2, files.end()));
    ASSERT_EQ(::chmod(third.c_str(), 0644), 0);
    EXPECT_EQ(RunProcess(command).exitStatus, 0);
    EXPECT_EQ(DumpTables(reference), DumpTables(database));
}

AFP_ON_BOTH_BACKENDS(UnreadableFileTest);

}  // namespace
