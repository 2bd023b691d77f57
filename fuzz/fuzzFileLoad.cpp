// Fuzz target: the whole load of one audit file. Each input becomes a file of
// a scratch audit directory, which a fresh Parser loads into a scratch SQLite
// audit database; tables and directory are emptied again after each input.
//
// Input layout: byte 0 chooses the run, the rest is the file's content.
//   bits 0-2  row count per transaction, 1 to 8
//   bit  3    delete loaded files instead of renaming them
//   bits 4-7  resume number in the file's name (0: none), so that resumed
//             loads, including the wrap-around of resume number 1, are reached
//
// Refusals are the loader's business (messages, assertions, the error code 2
// that stops a run); what must never happen is a sanitizer report, a leaked
// descriptor, a file left under its claim name, or a reject file whose
// records cannot be read back (each refused line is two lines: where and why,
// then the line itself).
#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>

#include "afpOptions.h"
#include "auditFileClaim.h"
#include "cppWebException.h"
#include "fuzzSupport.h"
#include "parser.h"
#include "sqldbapi.h"

#ifndef AFP_SOURCE_DIR
#error "AFP_SOURCE_DIR must name the source tree, to find the SQLite schema"
#endif

namespace {

const char* const kAuditTables[] = {
    "QXES_DISPATCHER",  "QXES_SESSION",   "QXES_REQUEST",       "QXES_ADMIN_SOURCE",
    "QXES_USER_SOURCE", "QXES_DIM_USAGE", "QXES_MEASURE_USAGE", "QXES_LEVEL_USAGE",
};

std::string ReadSchema() {
    const std::string path = std::string(AFP_SOURCE_DIR) + "/schema/sqlite.sql";
    std::ifstream stream(path);
    if (!stream) {
        fuzzSupport::Fail("cannot read the schema " + path);
    }
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

// Creates the audit tables through SQLite itself, so that the session under
// test only ever sees a ready database, as in a real run.
void CreateDatabase(const std::string& path) {
    sqlite3* handle = nullptr;
    int code =
        sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    char* error = nullptr;
    if (code == SQLITE_OK) {
        code = sqlite3_exec(handle, ReadSchema().c_str(), nullptr, nullptr, &error);
    }
    const std::string reason = error != nullptr ? error : sqlite3_errstr(code);
    sqlite3_free(error);
    sqlite3_close_v2(handle);
    if (code != SQLITE_OK) {
        fuzzSupport::Fail("cannot create the audit database " + path + ": " + reason);
    }
}

// One database and one audit directory for the whole process. Members are
// destroyed in reverse order: the session closes before its files go.
struct LoadFixture {
    fuzzSupport::ScratchDirectory scratch{"afp-fuzz-load"};
    std::string auditDir = scratch.path() + "/audit";
    std::string dbPath = scratch.path() + "/audit.db";
    std::string rejectPath = scratch.path() + "/refused";
    // The converter of user names takes the program directory as its encoding
    // name; a real program directory names none.
    std::string programDir = scratch.path() + "/";
    SQLDB db;
    size_t baselineDescriptors = 0;

    LoadFixture() {
        fuzzSupport::SilenceMessages();
        std::error_code error;
        if (!std::filesystem::create_directory(auditDir, error)) {
            fuzzSupport::Fail("cannot create " + auditDir);
        }
        CreateDatabase(dbPath);
        try {
            db.connect(dbPath, "", "SQ", "afp", "afp-secret");
        } catch (const std::exception& failure) {
            fuzzSupport::Fail(std::string("cannot connect: ") + failure.what());
        }
        // Opens what stays open for good: the error log and the database's journal.
        Messenger::Get().DisplayMessage("fuzzFileLoad ready");
        Reset();
        baselineDescriptors = fuzzSupport::OpenFileDescriptors().size();
    }

    // Back to an empty database and directory, whatever the load left.
    void Reset() {
        try {
            if (db.isTransactionOpen()) {
                db.commit(0);
            }
            db.startTransaction();
            for (const char* table : kAuditTables) {
                db.execute(std::string("DELETE FROM ") + table, SQLDB::kUpdate);
                db.freeRequest();
            }
            db.commit(1);
        } catch (const std::exception& failure) {
            fuzzSupport::Fail(std::string("cannot empty the audit tables: ") + failure.what());
        }
        fuzzSupport::EmptyDirectory(auditDir);
    }

    // Every record names this audit file; the file goes before the next input.
    void CheckRejectRecords() const {
        const std::string where = "# " + auditDir + "/qxes_audit_fuzz";
        std::ifstream records(rejectPath, std::ios::binary);
        for (std::string header, line; std::getline(records, header);) {
            if (header.rfind(where, 0) != 0 ||
                header.find(".log:", where.size()) == std::string::npos ||
                !std::getline(records, line)) {
                fuzzSupport::Fail("a reject record that cannot be read back: " +
                                  header.substr(0, 200));
            }
        }
        records.close();
        std::error_code ignored;
        std::filesystem::remove(rejectPath, ignored);
    }

    void CheckNoClaimLeftBehind() const {
        const std::string suffix = AuditFileClaim::kClaimSuffix;
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(auditDir, error)) {
            const std::string name = entry.path().filename().string();
            if (name.size() >= suffix.size() &&
                name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
                fuzzSupport::Fail("a file is left under its claim name: " + name);
            }
        }
    }

    // Descriptors of the process once the session and the error log are open;
    // the loader must give back every descriptor that it opens for a file.
    void CheckNoDescriptorLeaked() const {
        const std::vector<int> now = fuzzSupport::OpenFileDescriptors();
        if (now.size() > baselineDescriptors) {
            std::string open;
            for (int descriptor : now) {
                open += " " + std::to_string(descriptor) + "=" +
                        fuzzSupport::DescriptorTarget(descriptor);
            }
            fuzzSupport::Fail("file descriptors leaked: " + std::to_string(baselineDescriptors) +
                              " before the load, now" + open);
        }
    }
};

LoadFixture& Fixture() {
    static LoadFixture fixture;
    return fixture;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    Fixture();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    LoadFixture& fixture = Fixture();
    const uint8_t control = data[0];
    const unsigned resumeNumber = control >> 4;

    AFPOptions options;
    options.auditLocation = fixture.auditDir;
    options.transactionRowCount = 1 + (control & 0x07);
    options.deleteAuditFiles = (control & 0x08) != 0;
    options.rejectFile = fixture.rejectPath;

    const std::string name = resumeNumber == 0
                                 ? "qxes_audit_fuzz.log"
                                 : "qxes_audit_fuzz." + std::to_string(resumeNumber) + ".log";
    fuzzSupport::WriteFile(fixture.auditDir + "/" + name, data + 1, size - 1);

    // A parser that cannot even describe the tables means the previous input
    // broke the session, which is a finding of its own.
    std::unique_ptr<Parser> parser;
    try {
        parser = std::make_unique<Parser>(options, &fixture.db, fixture.programDir);
    } catch (const std::exception& failure) {
        fuzzSupport::Fail(std::string("the parser cannot start: ") + failure.what());
    }
    try {
        parser->ParseDir();
    } catch (const std::exception&) {
        // CPPWebException and KRLAssertError derive from std::exception: a
        // stopped run is a specified outcome.
    }
    parser.reset();

    fixture.CheckNoClaimLeftBehind();
    fixture.CheckRejectRecords();
    fixture.Reset();
    fixture.CheckNoDescriptorLeaked();
    return 0;
}
