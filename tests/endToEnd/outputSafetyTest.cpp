// What the loader writes, run as nobody beside another user's files in a
// sticky directory: planted outputs are refused and left alone, no password
// reaches an output, every failed output is told and ends in the status 73,
// and a file name holding a line end forges no message.
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "../support/auditFiles.h"

namespace {

using namespace auditFiles;
using Arguments = std::vector<std::string>;
namespace fs = std::filesystem;

const fs::perms kPrivate = fs::perms::owner_read | fs::perms::owner_write;

// The lines of `text` that begin with `start`.
size_t LinesStarting(const std::string& text, const std::string& start) {
    return Count("\n" + text, "\n" + start);
}

class OutputSafety : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override {
        m_nobody = ::getpwnam("nobody");
        if (::geteuid() != 0 || m_nobody == nullptr || ::access("/usr/bin/setpriv", X_OK) != 0) {
            GTEST_SKIP() << "needs root, the user nobody and setpriv";
        }
        AFP_REQUIRE_DATABASE(m_database);
        m_program = ProgramCopyForAnyone(m_dir.path());
        fs::create_directories(m_audit);
        fs::create_directories(m_shared);
        ASSERT_EQ(::chmod(m_shared.c_str(), 01777), 0);
        ASSERT_EQ(::chown(m_audit.c_str(), m_nobody->pw_uid, m_nobody->pw_gid), 0);
        if (m_database.dbType() == "SQ") {
            const std::string databaseDir = fs::path(m_database.dbName()).parent_path();
            ASSERT_EQ(RunProcess({"chown", "-R", "nobody:", databaseDir}).exitStatus, 0);
        }
    }

    // Writes a file in the shared directory, owned by another user (root) or
    // by the loader's user.
    std::string Plant(const std::string& name, mode_t mode, bool loaderOwns = false) {
        const std::string path = m_shared + "/" + name;
        WriteFile(path, "planted\n");
        m_planted.push_back(path);
        ::chmod(path.c_str(), mode);
        if (loaderOwns) {
            EXPECT_EQ(::chown(path.c_str(), m_nobody->pw_uid, m_nobody->pw_gid), 0);
        }
        return path;
    }

    ProcessResult RunAsNobody(const Arguments& extra) {
        Options options = {{"-exitstatus", "detailed"}};
        for (size_t i = 0; i + 1 < extra.size(); i += 2) {
            options.emplace_back(extra[i], extra[i + 1]);
        }
        Arguments command = LoaderCommand(m_database, m_audit, 10, options);
        command.front() = m_program;
        command.insert(command.begin(), kAsNobody.begin(), kAsNobody.end());
        return RunProcess(command);
    }

    const passwd* m_nobody = nullptr;
    std::vector<std::string> m_planted;
    std::string m_program;
    TestDatabase m_database{GetParam()};
    ScratchDirectory m_dir;
    const std::string m_audit = m_dir / "audit", m_shared = m_dir / "shared";
};

TEST_P(OutputSafety, OutputsStayTheLoadersOwnAndEveryFailureIsToldAndCounted) {
    const bool postgres = GetParam() == TestBackend::kPostgreSQL;
    const std::string password = m_database.dbPassword(), dump = m_shared + "/own.sql";
    // The password written into the connection text instead of its placeholder.
    std::string connect = m_database.dbConnect();
    const size_t placeholder = connect.find("password=%s");
    connect = placeholder == std::string::npos
                  ? connect + " password='" + password + "'"
                  : connect.replace(placeholder + 9, 2, "'" + password + "'");
    const std::string forged = "qxes_audit_z\nAFP-0058: Run finished in 0.001 s.log";
    const auto dumpIsClean = [&](const std::string& out) {
        const std::string text = ReadFile(dump);
        EXPECT_EQ((text + out).find(password), std::string::npos) << text.substr(0, 300);
        EXPECT_NE(text.find("password=********\t" + m_database.dbUser() + "\t********\t"),
                  std::string::npos);
        // A psql replay reads its backslashes as the loader's session did.
        EXPECT_EQ(Count(text, "\n\nSET standard_conforming_strings TO on\nBEGIN\n"),
                  postgres ? 1u : 0u);
        EXPECT_EQ(fs::status(dump).permissions(), kPrivate);
    };
    const auto noForgedLine = [&](const std::string&) {
        const std::string log = ReadFile(m_shared + "/errors.log");
        const std::string rejected = ReadFile(m_shared + "/errors.log.rejected");
        EXPECT_EQ(LinesStarting(log, "AFP-0058: "), 1u) << log;
        EXPECT_EQ(Count(log, "* " + m_audit + "/qxes_audit_z\\nAFP-0058: Run"), 1u) << log;
        EXPECT_EQ(Count(rejected, "\n"), 2u) << rejected;  // the header and the raw line
        EXPECT_EQ(fs::status(m_shared + "/errors.log").permissions(), kPrivate);
        EXPECT_EQ(fs::status(m_shared + "/errors.log.rejected").permissions(), kPrivate);
        const nlohmann::json report = nlohmann::json::parse(ReadFile(m_shared + "/run.json"));
        EXPECT_EQ(report["files"][0]["path"], m_audit + "/" + forged);
    };
    const struct {
        Arguments extra;
        int status;
        std::string pattern;  // of standard output and error; %s: the first option's path
        bool loads;
        std::function<void(const std::string& out)> check = nullptr;
        bool forgedName = false;
    } cases[] = {
        {{"-df", Plant("foreign.sql", 0666)}, 73, "AFP-0064: .*%s.*another user", false},
        {{"-df", Plant("open.sql", 0644, true)}, 73, "AFP-0064: .*%s.*may read .*0644", false},
        {{"-rejectfile", Plant("foreign.rej", 0666)}, 73, "AFP-0056: .*%s.*another user", true},
        {{"-errorlog", Plant("foreign.log", 0666)}, 73, "AFP-0065: .*%s.*another user", true},
        {{"-df", "/dev/full", "-rejectfile", "/dev/full"},
         73,
         "AFP-0066: .*%s could not be.*No space left[^]*AFP-0056: .*%s.*No space left",
         true,
         [](const std::string& out) { EXPECT_EQ(Count(out, "AFP-0066"), 1u); }},
        {{"-errorlog", "/dev/full"}, 73, "AFP-0054: .*%s: No space left", true},
        {{"-report", m_shared + "/none/run.json"}, 73, "AFP-0067: .*%s.*No such file", false},
        {{"-dbname", m_shared + "/missing.db", "-dbpass", "wrong"},
         69,
         "Attach to database failed with status -3\\..*\nAFP-0068: .*%s could not be reached",
         false},
        {{"-dbconnect", connect, "-df", dump}, 65, "AFP-0058: ", true, dumpIsClean},
        {{"-errorlog", m_shared + "/errors.log", "-report", m_shared + "/run.json"},
         65,
         "",
         true,
         noForgedLine,
         true},
    };
    int fileNumber = 0;
    for (const auto& c : cases) {
        if (postgres && c.status != 69 && c.extra[0] != "-dbconnect") {
            continue;  // the backend changes nothing of it
        }
        for (const std::string& name : NamesIn(m_audit)) {
            fs::remove(m_audit + "/" + name);
        }
        const std::string host = "h" + std::to_string(++fileNumber);
        WriteFile(m_audit + "/" + (c.forgedName ? forged : "qxes_audit_" + host + ".log"),
                  AuditFile({Startup(host), Record(Line("X", "QXES", "SRV", "0", "0", "x"))}));
        const long long rowsBefore = m_database.countRows("QXES_DISPATCHER");
        const ProcessResult run = RunAsNobody(c.extra);
        const std::string output = run.out + run.err, what = c.extra[1] + "\n" + output;
        EXPECT_EQ(run.exitStatus, c.status) << what;
        const std::string pattern = std::regex_replace(c.pattern, std::regex("%s"), c.extra[1]);
        EXPECT_TRUE(std::regex_search(output, std::regex(pattern))) << pattern << "\n" << what;
        EXPECT_EQ(m_database.countRows("QXES_DISPATCHER") > rowsBefore, c.loads) << what;
        if (c.check) {
            c.check(run.out);
        }
    }
    for (const std::string& planted : m_planted) {
        EXPECT_EQ(ReadFile(planted), "planted\n") << planted;
    }
}

AFP_ON_BOTH_BACKENDS(OutputSafety);

}  // namespace
