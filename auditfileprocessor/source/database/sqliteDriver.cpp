#include "sqliteDriver.h"

#include <sqlite3.h>

#include <cctype>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include "boundStatement.h"

namespace {

DatabaseDriver::Result Failed(DatabaseDriver::Status status, DatabaseDriver::Phase phase,
                              std::string message) {
    DatabaseDriver::Result result;
    result.status = status;
    result.phase = phase;
    result.message = std::move(message);
    return result;
}

std::string UpperCase(const char* text) {
    std::string result = text == nullptr ? "" : text;
    for (char& c : result) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return result;
}

// The journal mode of the main database in lower case, e.g. "wal"; empty when
// it cannot be read.
std::string JournalMode(sqlite3* db) {
    sqlite3_stmt* statement = nullptr;
    std::string mode;
    if (sqlite3_prepare_v2(db, "PRAGMA journal_mode", -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW) {
        const unsigned char* text = sqlite3_column_text(statement, 0);
        mode = text != nullptr ? reinterpret_cast<const char*>(text) : "";
    }
    sqlite3_finalize(statement);
    for (char& c : mode) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return mode;
}

bool Contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

// The width n of a declared type "NAME(n)", or -1 when none is declared.
long DeclaredWidth(const std::string& declared) {
    std::string::size_type open = declared.find('(');
    if (open == std::string::npos) {
        return -1;
    }
    const char* digits = declared.c_str() + open + 1;
    char* end = nullptr;
    long width = std::strtol(digits, &end, 10);
    if (end == digits || width < 0 || width > DatabaseDriver::kUnboundedTextLength - 2) {
        return -1;
    }
    return width;
}

// Describes a column from the type its table declares, read the way SQLite
// itself assigns column affinity (any type naming INT is an integer, CHAR,
// CLOB or TEXT is text).
SqlDA::ColumnDescription Describe(const char* name, const char* declaredType) {
    SqlDA::ColumnDescription column;
    column.name = name == nullptr ? "" : name;
    std::string declared = UpperCase(declaredType);
    if (declared == "BIGINT" || declared == "INT8") {
        column.type = kSqlColBigInt;
        column.length = 8;
    } else if (Contains(declared, "INT")) {
        column.type = kSqlColInteger;
        column.length = 4;
    } else if (Contains(declared, "CHAR") || Contains(declared, "CLOB") ||
               Contains(declared, "TEXT")) {
        long width = DeclaredWidth(declared);
        column.type = kSqlColText;
        column.length = width < 0 ? DatabaseDriver::kUnboundedTextLength : width + 2;
    } else if (Contains(declared, "TIMESTAMP") || Contains(declared, "DATE")) {
        column.type = kSqlColTimestamp;
        column.length = 8;
    } else {
        column.type = kSqlColOther;
        column.length = 0;
    }
    return column;
}

bool OnlyBlanks(const char* text) {
    for (; *text != '\0'; ++text) {
        if (!std::isspace(static_cast<unsigned char>(*text))) {
            return false;
        }
    }
    return true;
}

}  // namespace

SqliteDriver::SqliteDriver() : m_db(nullptr, sqlite3_close_v2) {}

SqliteDriver::~SqliteDriver() {
    close();
}

DatabaseDriver::Result SqliteDriver::open(const std::string& dbName, const std::string&) {
    close();
    if (dbName.empty()) {
        return Failed(kConnectionFailed, kRun, "no SQLite database file was named (-dbname)");
    }
    m_fileName = dbName;
    sqlite3* handle = nullptr;
    // Read-write but never create: a missing file is an administrator's error.
    // A connection serves one thread at a time, so its own lock, otherwise
    // taken on every call, is left out.
    int code = sqlite3_open_v2(dbName.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                               nullptr);
    m_db.reset(handle);
    if (code != SQLITE_OK) {
        std::string reason = handle != nullptr ? sqlite3_errmsg(handle) : sqlite3_errstr(code);
        close();
        return Failed(kConnectionFailed, kRun,
                      "cannot open the SQLite database file \"" + dbName + "\": " + reason +
                          " (it must exist and hold the audit tables)");
    }
    if (sqlite3_db_readonly(m_db.get(), "main") == 1) {
        close();
        return Failed(kConnectionFailed, kRun,
                      "the SQLite database file \"" + dbName + "\" is read-only");
    }
    sqlite3_busy_timeout(m_db.get(), m_busyTimeoutMs);
    // WAL keeps readers off the writer's back; FULL makes a committed batch
    // survive a power loss, which the resume logic relies on.
    // Switching to WAL needs a moment when no other loader is connected, and
    // SQLite does not wait for it: try again while others hold the database.
    // A database created from the schema is in WAL mode already.
    Result result;
    const auto giveUp =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(m_busyTimeoutMs);
    while (JournalMode(m_db.get()) != "wal") {
        result = runToEnd("PRAGMA journal_mode=WAL");
        // Only another loader's lock is worth waiting for; a file that is no
        // database, say, fails at once.
        const bool held = result.ok() || result.status == kTransactionFailed;
        if (JournalMode(m_db.get()) == "wal" || !held ||
            std::chrono::steady_clock::now() > giveUp) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (result.ok() && JournalMode(m_db.get()) != "wal") {
        result = Failed(kConnectionFailed, kRun, "the database cannot be switched to WAL mode");
    }
    if (result.ok()) {
        result = runToEnd("PRAGMA synchronous=FULL");
    }
    // Savepoints journal the pages a line changes; kept in memory, that costs
    // no file writes.
    if (result.ok()) {
        result = runToEnd("PRAGMA temp_store=MEMORY");
    }
    // Each checkpoint flushes the log and the database to disk. With small
    // batches the default (1000 pages) checkpoints every few dozen commits;
    // 10000 pages (about 40 MB) makes the flushes ten times rarer.
    if (result.ok()) {
        result = runToEnd("PRAGMA wal_autocheckpoint=10000");
    }

    if (!result.ok()) {
        result.status = kConnectionFailed;
        result.message =
            "cannot use the SQLite database file \"" + dbName + "\": " + result.message;
        close();
    }
    return result;
}

void SqliteDriver::close() {
    release();
    m_shapes.clear();
    m_savepointLine.reset();
    m_releaseLine.reset();
    m_rollbackLine.reset();
    if (m_db && transactionOpenInDatabase()) {
        runToEnd("ROLLBACK");
    }
    m_inTransaction = false;
    m_db.reset();
}

std::string SqliteDriver::serverVersion() const {
    return sqlite3_libversion();
}

std::string SqliteDriver::clientVersion() const {
    return SQLITE_VERSION;
}

DatabaseDriver::Result SqliteDriver::begin() {
    // IMMEDIATE takes the write lock now: two loaders that both began reading
    // could otherwise deadlock when each tries to upgrade to writing.
    Result result = runToEnd("BEGIN IMMEDIATE");
    m_inTransaction = result.ok();
    return result;
}

DatabaseDriver::Result SqliteDriver::commit() {
    release();
    m_aheadFailure = Result();
    Result result = runToEnd("COMMIT");
    if (!result.ok() && transactionOpenInDatabase()) {
        // Leave no half-open transaction behind for the next batch.
        runToEnd("ROLLBACK");
    }
    if (!result.ok() && m_inTransaction) {
        result.status = kTransactionFailed;
    }
    m_inTransaction = false;
    return result;
}

DatabaseDriver::Result SqliteDriver::rollback() {
    release();
    m_aheadFailure = Result();
    m_inTransaction = false;
    if (!transactionOpenInDatabase()) {
        return Result();  // the database already gave it up
    }
    return runToEnd("ROLLBACK");
}

DatabaseDriver::Result SqliteDriver::checkTransaction() const {
    if (m_inTransaction && !transactionOpenInDatabase()) {
        // An earlier I/O or lock failure made SQLite roll back on its own; a
        // statement run now would commit by itself, outside the batch.
        return Failed(kTransactionFailed, kPrepare,
                      "the transaction was rolled back by the database after an earlier error");
    }
    return Result();
}

DatabaseDriver::Result SqliteDriver::execute(const std::string& statement, bool query,
                                             std::vector<SqlDA::ColumnDescription>& columns) {
    columns.clear();
    release();
    Result result = checkTransaction();
    if (result.ok()) {
        result = prepare(statement, m_statement);
    }
    return result.ok() ? run(m_statement.get(), query, columns) : result;
}

DatabaseDriver::Result SqliteDriver::execute(const BoundStatement& statement, bool query,
                                             std::vector<SqlDA::ColumnDescription>& columns) {
    columns.clear();
    release();
    Result result = checkTransaction();
    if (!result.ok()) {
        return result;
    }
    sqlite3_stmt* compiled = nullptr;
    auto found = m_shapes.find(statement.shape());
    if (found != m_shapes.end()) {
        compiled = found->second.get();
    } else {
        SqliteStatement fresh;
        result = prepare(statement.shape(), fresh);
        if (!result.ok()) {
            return result;
        }
        if (m_shapes.size() >= kMaxShapes) {
            m_statement = std::move(fresh);
            compiled = m_statement.get();
        } else {
            compiled = m_shapes.emplace(statement.shape(), std::move(fresh)).first->second.get();
        }
    }
    result = bind(compiled, statement, query);
    if (!result.ok()) {
        sqlite3_clear_bindings(compiled);
        return result;
    }
    result = run(compiled, query, columns);
    if (m_inHand != compiled) {
        // Texts bound without a copy must not outlive this call.
        sqlite3_clear_bindings(compiled);
    }
    return result;
}

DatabaseDriver::Result SqliteDriver::executeAhead(const BoundStatement& statement) {
    std::vector<SqlDA::ColumnDescription> columns;
    Result result = execute(statement, false, columns);
    if (!result.ok() && m_aheadFailure.ok()) {
        m_aheadFailure = result;
    }
    return Result();
}

DatabaseDriver::Result SqliteDriver::runAhead() {
    return std::exchange(m_aheadFailure, Result());
}

DatabaseDriver::Result SqliteDriver::run(sqlite3_stmt* compiled, bool query,
                                         std::vector<SqlDA::ColumnDescription>& columns) {
    int columnCount = sqlite3_column_count(compiled);
    if (query && columnCount > 0) {
        for (int i = 0; i < columnCount; ++i) {
            columns.push_back(
                Describe(sqlite3_column_name(compiled, i), sqlite3_column_decltype(compiled, i)));
        }
        m_inHand = compiled;
        return Result();
    }
    int code = SQLITE_ROW;
    while (code == SQLITE_ROW) {
        code = sqlite3_step(compiled);
    }
    Result result = code == SQLITE_DONE ? Result() : failure(kRun, code);
    sqlite3_reset(compiled);
    return result;
}

DatabaseDriver::Result SqliteDriver::bind(sqlite3_stmt* compiled, const BoundStatement& statement,
                                          bool copy) {
    const std::vector<BoundStatement::Value>& values = statement.values();
    if (sqlite3_bind_parameter_count(compiled) != static_cast<int>(values.size())) {
        return Failed(kDatabaseFailed, kPrepare,
                      "the statement has " +
                          std::to_string(sqlite3_bind_parameter_count(compiled)) +
                          " placeholders for " + std::to_string(values.size()) + " values");
    }
    for (size_t i = 0; i < values.size(); ++i) {
        const BoundStatement::Value& value = values[i];
        const int index = static_cast<int>(i) + 1;
        const std::string& text = value.text;
        int code = SQLITE_OK;
        if (value.null) {
            code = sqlite3_bind_null(compiled, index);
        } else if (value.type == BoundStatement::kInteger ||
                   value.type == BoundStatement::kBigInt) {
            int64_t number = 0;
            const char* end = text.data() + text.size();
            const std::from_chars_result read = std::from_chars(text.data(), end, number);
            if (text.empty() || read.ec != std::errc() || read.ptr != end) {
                return Failed(kStatementFailed, kPrepare,
                              "the value \"" + text + "\" is not a 64-bit whole number");
            }
            code = sqlite3_bind_int64(compiled, index, number);
        } else if (text.find('\0') != std::string::npos) {
            // Refused like a NUL in statement text, so that both forms agree.
            return Failed(kStatementFailed, kPrepare, "a value holds a NUL character");
        } else if (text.size() >= static_cast<size_t>(INT_MAX)) {
            return Failed(kStatementFailed, kPrepare, "a value is too long");
        } else {
            // Dates too are bound as text: SQLite stores a date as its text.
            code = sqlite3_bind_text(compiled, index, text.data(), static_cast<int>(text.size()),
                                     copy ? SQLITE_TRANSIENT : SQLITE_STATIC);
        }
        if (code != SQLITE_OK) {
            return failure(kRun, code);
        }
    }
    return Result();
}

DatabaseDriver::Result SqliteDriver::fetch(std::vector<std::optional<std::string>>& row) {
    row.clear();
    if (m_inHand == nullptr) {
        return Failed(kStatementFailed, kRun, "no query is open");
    }
    int code = sqlite3_step(m_inHand);
    if (code == SQLITE_DONE) {
        Result end;
        end.status = kNoMoreRows;
        return end;
    }
    if (code != SQLITE_ROW) {
        return failure(kRun, code);
    }
    int columnCount = sqlite3_column_count(m_inHand);
    for (int i = 0; i < columnCount; ++i) {
        if (sqlite3_column_type(m_inHand, i) == SQLITE_NULL) {
            row.emplace_back();
            continue;
        }
        // Text first, then its length: the order SQLite documents as safe.
        const unsigned char* text = sqlite3_column_text(m_inHand, i);
        int length = sqlite3_column_bytes(m_inHand, i);
        row.emplace_back(std::string(reinterpret_cast<const char*>(text),
                                     text == nullptr || length < 0 ? 0 : length));
    }
    return Result();
}

void SqliteDriver::release() {
    if (m_inHand != nullptr) {
        // A kept statement is reset for its next use; its copied texts go with the bindings.
        sqlite3_reset(m_inHand);
        sqlite3_clear_bindings(m_inHand);
        m_inHand = nullptr;
    }
    m_statement.reset();
}

DatabaseDriver::Result SqliteDriver::prepare(const std::string& statement,
                                             SqliteStatement& compiled) {
    if (!m_db) {
        return Failed(kConnectionFailed, kPrepare, "the database is not open");
    }
    if (statement.size() >= static_cast<std::string::size_type>(INT_MAX)) {
        return Failed(kStatementFailed, kPrepare, "the statement is too long");
    }
    sqlite3_stmt* handle = nullptr;
    const char* tail = nullptr;
    int code = sqlite3_prepare_v2(m_db.get(), statement.c_str(),
                                  static_cast<int>(statement.size()) + 1, &handle, &tail);
    compiled = SqliteStatement(handle);
    // SQLite stops reading at a NUL, so a statement compiled to its very end
    // holds none; only the other outcomes need the search.
    const bool readToEnd =
        code == SQLITE_OK && compiled && tail == statement.c_str() + statement.size();
    if (!readToEnd && statement.find('\0') != std::string::npos) {
        // Running what came before the NUL would run a shortened statement.
        compiled.reset();
        return Failed(kStatementFailed, kPrepare, "the statement holds a NUL character");
    }
    if (code != SQLITE_OK) {
        return failure(kPrepare, code);
    }
    if (!compiled) {
        return Failed(kDatabaseFailed, kPrepare, "the statement is empty");
    }
    // Anything after the first statement but blanks and comments is a second
    // statement, which is refused rather than silently dropped.
    while (tail != nullptr && !OnlyBlanks(tail)) {
        sqlite3_stmt* next = nullptr;
        const char* nextTail = nullptr;
        code = sqlite3_prepare_v2(m_db.get(), tail, -1, &next, &nextTail);
        SqliteStatement extra(next);
        if (code != SQLITE_OK || extra || nextTail == tail) {
            compiled.reset();
            return Failed(kDatabaseFailed, kPrepare,
                          "the text holds more than one statement; only one is run at a time");
        }
        tail = nextTail;
    }
    return Result();
}

DatabaseDriver::Result SqliteDriver::savepointLine() {
    m_aheadFailure = Result();
    return runCached(m_savepointLine, "SAVEPOINT afp_line");
}

DatabaseDriver::Result SqliteDriver::releaseLine() {
    return runCached(m_releaseLine, "RELEASE afp_line");
}

DatabaseDriver::Result SqliteDriver::rollbackLine() {
    // A failure of the line's rows sent ahead goes with them: it must not
    // refuse the next line.
    m_aheadFailure = Result();
    // Rolling back to a savepoint keeps it open: release it as well.
    Result result = runCached(m_rollbackLine, "ROLLBACK TO afp_line");
    if (result.ok()) {
        result = releaseLine();
    }
    if (!result.ok() && result.status == kStatementFailed) {
        result.status = kTransactionFailed;  // the line's rows could not be undone
    }
    return result;
}

DatabaseDriver::Result SqliteDriver::setDurableCommits(bool durable) {
    return runToEnd(durable ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL");
}

DatabaseDriver::Result SqliteDriver::runCached(SqliteStatement& cache, const char* statement) {
    if (!cache) {
        Result result = prepare(statement, cache);
        if (!result.ok()) {
            return result;
        }
    }
    const int code = sqlite3_step(cache.get());
    sqlite3_reset(cache.get());
    return code == SQLITE_DONE ? Result() : failure(kRun, code);
}

DatabaseDriver::Result SqliteDriver::runToEnd(const char* statement) {
    SqliteStatement compiled;
    Result result = prepare(statement, compiled);
    if (!result.ok()) {
        return result;
    }
    int code = SQLITE_ROW;
    while (code == SQLITE_ROW) {
        code = sqlite3_step(compiled.get());
    }
    return code == SQLITE_DONE ? Result() : failure(kRun, code);
}

DatabaseDriver::Result SqliteDriver::failure(Phase phase, int code) const {
    Status status = kStatementFailed;
    switch (code & 0xff) {
        case SQLITE_IOERR:
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_CANTOPEN:
        case SQLITE_FULL:
        case SQLITE_READONLY:
        case SQLITE_PERM:
            status = kConnectionFailed;
            break;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            // Another loader held the lock past the timeout: the batch can be retried.
            status = kTransactionFailed;
            break;
        case SQLITE_CONSTRAINT:
        case SQLITE_MISMATCH:
        case SQLITE_TOOBIG:
        case SQLITE_RANGE:
            break;  // refused for the values it carries
        default:
            // A missing table or column, missing memory: no row can be written.
            status = kDatabaseFailed;
            break;
    }
    if (status == kStatementFailed && m_inTransaction && !transactionOpenInDatabase()) {
        status = kTransactionFailed;
    }
    std::string message = m_db ? sqlite3_errmsg(m_db.get()) : sqlite3_errstr(code);
    return Failed(status, phase, message);
}

bool SqliteDriver::transactionOpenInDatabase() const {
    return m_db && sqlite3_get_autocommit(m_db.get()) == 0;
}
