#include "postgresDriver.h"

#include <libpq-fe.h>

#include <cctype>
#include <cstring>
#include <utility>

#include "boundStatement.h"

namespace {

// Type identifiers of the server's built-in types, which never change.
constexpr Oid kInt2Oid = 21;
constexpr Oid kInt4Oid = 23;
constexpr Oid kInt8Oid = 20;
constexpr Oid kTextOid = 25;
constexpr Oid kBpcharOid = 1042;
constexpr Oid kVarcharOid = 1043;
constexpr Oid kDateOid = 1082;
constexpr Oid kTimestampOid = 1114;
constexpr Oid kTimestampTzOid = 1184;
// A quoted literal has no type of its own until the server reads it in its place.
constexpr Oid kUnknownOid = 0;

// The modifier of VARCHAR(n) and CHAR(n) is n plus this header size.
constexpr int kVarHeaderSize = 4;

const char kRollbackToSavepoint[] = "ROLLBACK TO SAVEPOINT afp_stmt";
const char kReleaseSavepoint[] = "RELEASE SAVEPOINT afp_stmt";
const char kDeclareCursor[] = "DECLARE afp_cursor NO SCROLL CURSOR FOR ";

// The driver's own statements that go with every statement, prepared once per
// connection under these names: the server then parses them only once.
const char kSavepointName[] = "afp_savepoint";
const char kReleaseSavepointName[] = "afp_release";
const char kFetchCursorName[] = "afp_fetch";
const char kCloseCursorsName[] = "afp_close";
const char kLineSavepointName[] = "afp_line_savepoint";
const char kLineReleaseName[] = "afp_line_release";

struct NamedStatement {
    const char* name;
    std::string text;
};

const NamedStatement kNamedStatements[] = {
    {kSavepointName, "SAVEPOINT afp_stmt"},
    {kReleaseSavepointName, kReleaseSavepoint},
    {kFetchCursorName, "FETCH " + std::to_string(PostgresDriver::kFetchBatch) + " FROM afp_cursor"},
    {kCloseCursorsName, "CLOSE ALL"},
    {kLineSavepointName, "SAVEPOINT afp_line"},
    {kLineReleaseName, "RELEASE SAVEPOINT afp_line"},
};

// What a failed statement means for the batch: values refused for what they
// are (data exceptions, class 22, and integrity constraint violations, class
// 23) refuse their row; a transaction the server rolled back for another
// (deadlocks and serialization failures, class 40) can be tried again; any
// other failure is the database's own (a missing table, rights, resources)
// and would refuse every row.
DatabaseDriver::Status StatusOfFailure(const PGresult* result) {
    const char* state = result != nullptr ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
    if (state == nullptr) {
        return DatabaseDriver::kDatabaseFailed;
    }
    if (std::strncmp(state, "22", 2) == 0 || std::strncmp(state, "23", 2) == 0) {
        return DatabaseDriver::kStatementFailed;
    }
    return std::strncmp(state, "40", 2) == 0 ? DatabaseDriver::kTransactionFailed
                                             : DatabaseDriver::kDatabaseFailed;
}

DatabaseDriver::Result Failed(DatabaseDriver::Status status, DatabaseDriver::Phase phase,
                              std::string message) {
    DatabaseDriver::Result result;
    result.status = status;
    result.phase = phase;
    result.message = std::move(message);
    return result;
}

// The text on one line: the server's and the client's messages span several
// lines, but they end up inside a one-line failure text.
std::string OneLine(const char* text) {
    std::string result;
    bool blank = false;
    for (const char* c = text == nullptr ? "" : text; *c != '\0'; ++c) {
        if (std::isspace(static_cast<unsigned char>(*c))) {
            blank = true;
            continue;
        }
        if (blank && !result.empty()) {
            result += ' ';
        }
        blank = false;
        result += *c;
    }
    return result;
}

// The keyword/value syntax: single quotes, with quote and backslash escaped.
std::string Quoted(const std::string& value) {
    std::string quoted = "'";
    for (char c : value) {
        if (c == '\'' || c == '\\') {
            quoted += '\\';
        }
        quoted += c;
    }
    return quoted + "'";
}

bool IsBlank(const std::string& text) {
    for (char c : text) {
        if (!std::isspace(static_cast<unsigned char>(c))) {
            return false;
        }
    }
    return true;
}

bool Succeeded(const PGresult* result) {
    ExecStatusType status = PQresultStatus(result);
    return result != nullptr && (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK);
}

// Unquoted names come back folded to lower case; the schema spells them in upper case.
std::string UpperCase(const char* text) {
    std::string result = text == nullptr ? "" : text;
    for (char& c : result) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return result;
}

SqlDA::ColumnDescription Describe(const PGresult* result, int column) {
    SqlDA::ColumnDescription description;
    description.name = UpperCase(PQfname(result, column));
    int size = PQfsize(result, column);
    description.length = size > 0 ? size : 0;
    switch (PQftype(result, column)) {
        case kInt2Oid:
        case kInt4Oid:
            description.type = kSqlColInteger;
            break;
        case kInt8Oid:
            description.type = kSqlColBigInt;
            break;
        case kTextOid:
        case kBpcharOid:
        case kVarcharOid: {
            int modifier = PQfmod(result, column);
            description.type = kSqlColText;
            description.length = modifier >= kVarHeaderSize
                                     ? static_cast<long>(modifier - kVarHeaderSize) + 2
                                     : DatabaseDriver::kUnboundedTextLength;
            break;
        }
        case kDateOid:
        case kTimestampOid:
        case kTimestampTzOid:
            description.type = kSqlColTimestamp;
            break;
        default:
            description.type = kSqlColOther;
            break;
    }
    return description;
}

// The type a bound value is sent with: the type its literal has.
Oid TypeOf(BoundStatement::Type type) {
    switch (type) {
        case BoundStatement::kInteger:
            return kInt4Oid;
        case BoundStatement::kBigInt:
            return kInt8Oid;
        case BoundStatement::kTimestamp:
            return kTimestampOid;
        case BoundStatement::kText:
            break;
    }
    return kUnknownOid;
}

// Values travel as C strings: the server would get the part before a NUL.
bool HoldsNul(const BoundStatement& statement) {
    for (const BoundStatement::Value& value : statement.values()) {
        if (value.text.find('\0') != std::string::npos) {
            return true;
        }
    }
    return false;
}

// The look-up in a form that divides by zero unless it finds as many rows as
// predicted: a wrong prediction fails on the server like a refused statement.
BoundStatement CheckingForm(const DatabaseDriver::HeldStatement& held) {
    BoundStatement check = held.statement;
    const char* predicate = held.expect == DatabaseDriver::Expectation::kFindsRow ? "> 0" : "= 0";
    check.setShape(std::string("SELECT 1 / CASE WHEN count(*) ") + predicate +
                   " THEN 1 ELSE 0 END FROM (" + held.statement.shape() + ") AS afp_check");
    return check;
}

// Server notices (warnings about savepoints and the like) are not for the
// administrator's console.
void IgnoreNotice(void*, const char*) {}

}  // namespace

PostgresDriver::PostgresDriver() : m_conn(nullptr, PQfinish) {}

PostgresDriver::~PostgresDriver() {
    close();
}

DatabaseDriver::Result PostgresDriver::open(const std::string& dbName,
                                            const std::string& connectString) {
    close();
    std::string conninfo = connectString;
    if (!dbName.empty()) {
        conninfo += conninfo.empty() ? "dbname=" : " dbname=";
        conninfo += Quoted(dbName);
    }
    m_conn.reset(PQconnectdb(conninfo.c_str()));
    if (!m_conn) {
        return Failed(kConnectionFailed, kRun, "out of memory while connecting");
    }
    if (PQstatus(m_conn.get()) != CONNECTION_OK) {
        Result result = Failed(kConnectionFailed, kRun, OneLine(PQerrorMessage(m_conn.get())));
        close();
        return result;
    }
    PQsetNoticeProcessor(m_conn.get(), IgnoreNotice, nullptr);
    // Literals double their quotes and leave backslashes alone: only with
    // standard strings does a backslash in a value stay a plain character.
    Result standard = runSimple("SET standard_conforming_strings TO on", "SET");
    const char* setting = PQparameterStatus(m_conn.get(), "standard_conforming_strings");
    if (!standard.ok() || setting == nullptr || std::strcmp(setting, "on") != 0) {
        Result result = Failed(kConnectionFailed, kRun,
                               "the session cannot use standard_conforming_strings = on, which "
                               "the loader's literals need: " +
                                   standard.message);
        close();
        return result;
    }
    for (const NamedStatement& named : kNamedStatements) {
        PgResult prepared(PQprepare(m_conn.get(), named.name, named.text.c_str(), 0, nullptr));
        if (!Succeeded(prepared.get())) {
            Result result = failure(kConnectionFailed, kRun, prepared.get());
            result.status = kConnectionFailed;
            close();
            return result;
        }
    }
    return Result();
}

void PostgresDriver::close() {
    m_ahead.clear();
    m_aheadFailure = Result();
    m_rows.reset();
    m_cursor = kNoCursor;
    m_shapes.clear();
    // Closing the connection rolls back whatever is open.
    m_conn.reset();
}

std::string PostgresDriver::connectValue(const std::string& value) const {
    bool plain = !value.empty();
    for (char c : value) {
        if (c == '\'' || c == '\\' || std::isspace(static_cast<unsigned char>(c))) {
            plain = false;
        }
    }
    return plain ? value : Quoted(value);
}

std::string PostgresDriver::databaseName() const {
    return m_conn ? OneLine(PQdb(m_conn.get())) : "";
}

std::string PostgresDriver::serverVersion() const {
    return m_conn ? OneLine(PQparameterStatus(m_conn.get(), "server_version")) : "";
}

std::string PostgresDriver::clientVersion() const {
    // 150018 is 15.18; before version 10 the number was 90605 for 9.6.5.
    int version = PQlibVersion();
    int major = version / 10000;
    if (major >= 10) {
        return std::to_string(major) + "." + std::to_string(version % 10000);
    }
    return std::to_string(major) + "." + std::to_string(version / 100 % 100) + "." +
           std::to_string(version % 100);
}

DatabaseDriver::Result PostgresDriver::begin() {
    m_rows.reset();
    m_cursor = kNoCursor;
    m_linePrefix.clear();
    return runSimple("BEGIN", "BEGIN");
}

DatabaseDriver::Result PostgresDriver::commit() {
    // Statements still held back belong to the batch: a failure of theirs
    // must not pass for committed.
    Result ahead = runAhead();
    if (!ahead.ok()) {
        rollback();
        ahead.status = connectionLost() ? kConnectionFailed : kTransactionFailed;
        return ahead;
    }
    m_rows.reset();
    m_cursor = kNoCursor;  // cursors end with their transaction
    m_linePrefix.clear();  // COMMIT releases every savepoint
    // A transaction the server had to abort answers COMMIT with ROLLBACK.
    return runSimple("COMMIT", "COMMIT");
}

DatabaseDriver::Result PostgresDriver::rollback() {
    m_ahead.clear();
    m_aheadFailure = Result();
    m_rows.reset();
    m_cursor = kNoCursor;
    m_linePrefix.clear();
    return runSimple("ROLLBACK", "ROLLBACK");
}

DatabaseDriver::Result PostgresDriver::execute(const std::string& statement, bool query,
                                               std::vector<SqlDA::ColumnDescription>& columns) {
    columns.clear();
    SendAheadBeforeStatement();
    if (IsBlank(statement)) {
        return Failed(kStatementFailed, kPrepare, "the statement is empty");
    }
    if (statement.find('\0') != std::string::npos) {
        // The client library reads the text as a C string: the server would
        // run what comes before the NUL as if it were the whole statement.
        return Failed(kStatementFailed, kPrepare, "the statement holds a NUL character");
    }
    // Each text goes to the server as one extended-protocol statement, which
    // the server refuses when the text holds more than one.
    std::vector<Command> body;
    if (query) {
        // A cursor reads a query's rows a batch at a time, so describing a
        // large table does not carry all of its rows over.
        body.push_back({Command::kPrepare, kDeclareCursor + statement, kPrepare});
        body.push_back({Command::kRunPrepared, "", kRun});
        body.push_back({Command::kRunNamed, kFetchCursorName, kRun});
    } else {
        body.push_back({Command::kPrepare, statement, kPrepare});
        body.push_back({Command::kRunPrepared, "", kRun});
    }
    std::vector<PgResult> results;
    Result result = runGuarded(body, results);
    if (!result.ok() || !query) {
        return result;
    }
    const bool exhausted = PQntuples(results.back().get()) < kFetchBatch;
    holdRows(std::move(results.back()), kCursorInHand, exhausted, columns);
    return result;
}

void PostgresDriver::addShape(const BoundStatement& statement, std::vector<Command>& body,
                              std::unordered_map<std::string, std::string>& pending) {
    auto found = m_shapes.find(statement.shape());
    auto prepared = pending.find(statement.shape());
    std::string name;
    if (found != m_shapes.end()) {
        name = found->second;
    } else if (prepared != pending.end()) {
        name = prepared->second;
    } else {
        if (m_shapes.size() + pending.size() < kMaxShapes) {
            // A name is never given twice, even when its prepare was not seen to succeed.
            name = "afp_shape_" + std::to_string(m_shapeNames++);
            pending.emplace(statement.shape(), name);
        }
        body.push_back({Command::kPrepareShape, name, kPrepare, &statement});
    }
    body.push_back({Command::kRunShape, name, kRun, &statement});
}

DatabaseDriver::Result PostgresDriver::executeAhead(const BoundStatement& statement) {
    if (HoldsNul(statement)) {
        if (m_aheadFailure.ok()) {
            m_aheadFailure = Failed(kStatementFailed, kPrepare, "a value holds a NUL character");
        }
        return Result();
    }
    m_ahead.push_back(statement);
    return Result();
}

DatabaseDriver::Result PostgresDriver::runAhead() {
    Result result = sendAhead();
    if (result.ok()) {
        result = m_aheadFailure;
    }
    m_aheadFailure = Result();
    return result;
}

void PostgresDriver::SendAheadBeforeStatement() {
    // Their failure is the line's, reported by the next runAhead().
    Result ahead = sendAhead();
    if (!ahead.ok() && m_aheadFailure.ok()) {
        m_aheadFailure = ahead;
    }
    release();
}

DatabaseDriver::Result PostgresDriver::sendAhead() {
    if (m_ahead.empty()) {
        return Result();
    }
    release();
    const std::vector<BoundStatement> statements = std::move(m_ahead);
    m_ahead.clear();
    std::vector<Command> body;
    std::unordered_map<std::string, std::string> pending;
    for (const BoundStatement& statement : statements) {
        addShape(statement, body, pending);
    }
    std::vector<PgResult> results;
    return runGuarded(body, results);
}

DatabaseDriver::Result PostgresDriver::execute(const BoundStatement& statement, bool query,
                                               std::vector<SqlDA::ColumnDescription>& columns) {
    columns.clear();
    SendAheadBeforeStatement();
    if (HoldsNul(statement)) {
        return Failed(kStatementFailed, kPrepare, "a value holds a NUL character");
    }
    std::vector<Command> body;
    std::unordered_map<std::string, std::string> pending;
    addShape(statement, body, pending);
    std::vector<PgResult> results;
    Result result = runGuarded(body, results);
    if (!result.ok() || !query) {
        return result;
    }
    holdRows(std::move(results.back()), kResultInHand, true, columns);
    return result;
}

void PostgresDriver::holdRows(PgResult rows, CursorState cursor, bool exhausted,
                              std::vector<SqlDA::ColumnDescription>& columns) {
    m_cursor = cursor;
    m_rows = std::move(rows);
    m_nextRow = 0;
    m_rowsExhausted = exhausted;
    const int columnCount = PQnfields(m_rows.get());
    for (int i = 0; i < columnCount; ++i) {
        columns.push_back(Describe(m_rows.get(), i));
    }
}

DatabaseDriver::Result PostgresDriver::fetch(std::vector<std::optional<std::string>>& row) {
    row.clear();
    if ((m_cursor != kCursorInHand && m_cursor != kResultInHand) || !m_rows) {
        return Failed(kStatementFailed, kRun, "no query is open");
    }
    if (m_nextRow >= PQntuples(m_rows.get())) {
        Result end;
        end.status = kNoMoreRows;
        if (m_rowsExhausted) {
            return end;
        }
        std::vector<PgResult> results;
        Result result = runGuarded({{Command::kRunNamed, kFetchCursorName, kRun}}, results);
        if (!result.ok()) {
            return result;
        }
        m_rows = std::move(results.back());
        m_nextRow = 0;
        m_rowsExhausted = PQntuples(m_rows.get()) < kFetchBatch;
        if (PQntuples(m_rows.get()) == 0) {
            return end;
        }
    }
    int columnCount = PQnfields(m_rows.get());
    for (int i = 0; i < columnCount; ++i) {
        if (PQgetisnull(m_rows.get(), m_nextRow, i)) {
            row.emplace_back();
        } else {
            row.emplace_back(std::string(PQgetvalue(m_rows.get(), m_nextRow, i),
                                         PQgetlength(m_rows.get(), m_nextRow, i)));
        }
    }
    ++m_nextRow;
    return Result();
}

DatabaseDriver::Result PostgresDriver::savepointLine() {
    m_linePrefix.push_back({Command::kRunNamed, kLineSavepointName, kRun});
    return Result();
}

DatabaseDriver::Result PostgresDriver::releaseLine() {
    // The line's statements sent ahead run before it is kept.
    Result ahead = runAhead();
    if (!ahead.ok()) {
        return ahead;
    }
    m_linePrefix.push_back({Command::kRunNamed, kLineReleaseName, kRun});
    return Result();
}

DatabaseDriver::Result PostgresDriver::rollbackLine() {
    // What still waits is sent first, so that the rollback finds the line's
    // own savepoint and not the one of an earlier line; statements sent ahead
    // are undone with the line, unsent.
    m_ahead.clear();
    m_aheadFailure = Result();
    std::vector<Command> commands = std::move(m_linePrefix);
    m_linePrefix.clear();
    commands.push_back({Command::kSimple, "ROLLBACK TO SAVEPOINT afp_line", kRun});
    commands.push_back({Command::kRunNamed, kLineReleaseName, kRun});
    std::vector<PgResult> results;
    Result result = runPipeline(commands, results);
    for (size_t i = 0; result.ok() && i < results.size(); ++i) {
        if (!Succeeded(results[i].get())) {
            result = failure(kTransactionFailed, kRun, results[i].get());
        }
    }
    return result;
}

DatabaseDriver::Result PostgresDriver::setDurableCommits(bool durable) {
    return runSimple(durable ? "SET synchronous_commit TO on" : "SET synchronous_commit TO off",
                     "SET");
}

void PostgresDriver::release() {
    m_rows.reset();
    if (m_cursor == kCursorInHand) {
        m_cursor = kCursorToClose;
    } else if (m_cursor == kResultInHand) {
        m_cursor = kNoCursor;
    }
}

DatabaseDriver::Result PostgresDriver::runPipeline(const std::vector<Command>& commands,
                                                   std::vector<PgResult>& results) {
    results.clear();
    PGconn* conn = m_conn.get();
    if (conn == nullptr) {
        return Failed(kConnectionFailed, kRun, "the database is not open");
    }
    if (PQenterPipelineMode(conn) != 1) {
        return Failed(connectionLost() ? kConnectionFailed : kTransactionFailed, kRun,
                      OneLine(PQerrorMessage(conn)));
    }
    std::string sendError;
    size_t sent = 0;
    for (const Command& command : commands) {
        int ok = 0;
        switch (command.kind) {
            case Command::kSimple:
                ok = PQsendQueryParams(conn, command.text.c_str(), 0, nullptr, nullptr, nullptr,
                                       nullptr, 0);
                break;
            case Command::kPrepare:
                ok = PQsendPrepare(conn, "", command.text.c_str(), 0, nullptr);
                break;
            case Command::kRunPrepared:
                ok = PQsendQueryPrepared(conn, "", 0, nullptr, nullptr, nullptr, 0);
                break;
            case Command::kRunNamed:
                ok = PQsendQueryPrepared(conn, command.text.c_str(), 0, nullptr, nullptr, nullptr,
                                         0);
                break;
            case Command::kPrepareShape:
            case Command::kRunShape:
                ok = sendShape(command);
                break;
        }
        if (ok != 1) {
            sendError = OneLine(PQerrorMessage(conn));
            break;
        }
        ++sent;
    }
    bool synced = PQpipelineSync(conn) == 1;
    // Every result of what was sent is read, so that the connection is ready
    // for the next statement whatever happened.
    for (size_t i = 0; synced && i < sent; ++i) {
        PGresult* first = PQgetResult(conn);
        if (first == nullptr) {
            break;
        }
        results.emplace_back(first);
        while (PGresult* extra = PQgetResult(conn)) {
            PQclear(extra);
        }
    }
    if (synced) {
        PgResult sync(PQgetResult(conn));
    }
    bool exited = PQexitPipelineMode(conn) == 1;
    if (!sendError.empty() || !synced || !exited || results.size() != commands.size()) {
        std::string message = sendError.empty() ? OneLine(PQerrorMessage(conn)) : sendError;
        // A connection stuck in pipeline mode refuses every later command:
        // it is as good as lost, and only a new one serves.
        return Failed(connectionLost() || !exited ? kConnectionFailed : kTransactionFailed, kRun,
                      message.empty() ? "the pipeline to the server broke off" : message);
    }
    return Result();
}

DatabaseDriver::Result PostgresDriver::runGuarded(const std::vector<Command>& body,
                                                  std::vector<PgResult>& results) {
    std::vector<Command> commands;
    bool closing = m_cursor == kCursorToClose;
    if (closing) {
        commands.push_back({Command::kRunNamed, kCloseCursorsName, kRun});
    }
    commands.insert(commands.end(), m_linePrefix.begin(), m_linePrefix.end());
    m_linePrefix.clear();
    size_t first = commands.size() + 1;
    commands.push_back({Command::kRunNamed, kSavepointName, kRun});
    commands.insert(commands.end(), body.begin(), body.end());
    commands.push_back({Command::kRunNamed, kReleaseSavepointName, kRun});

    std::vector<PgResult> all;
    Result result = runPipeline(commands, all);
    if (!result.ok()) {
        return result;
    }
    keepPrepared(commands, all);
    if (closing && Succeeded(all.front().get())) {
        m_cursor = kNoCursor;
    }
    for (size_t i = 0; i < all.size(); ++i) {
        if (Succeeded(all[i].get())) {
            continue;
        }
        if (i < first) {
            // Without its savepoint the transaction cannot be saved.
            return failure(kTransactionFailed, commands[i].phase, all[i].get());
        }
        result = failure(StatusOfFailure(all[i].get()), commands[i].phase, all[i].get());
        if (Succeeded(all.back().get())) {
            return result;  // refused here, not by the server: nothing to undo
        }
        std::vector<PgResult> recovery;
        Result undone = runPipeline({{Command::kSimple, kRollbackToSavepoint, kRun},
                                     {Command::kSimple, kReleaseSavepoint, kRun}},
                                    recovery);
        if (!undone.ok() || !Succeeded(recovery.at(0).get()) || !Succeeded(recovery.at(1).get())) {
            result.status = connectionLost() ? kConnectionFailed : kTransactionFailed;
        }
        return result;
    }
    for (size_t i = first; i + 1 < all.size(); ++i) {
        results.push_back(std::move(all[i]));
    }
    return Result();
}

void PostgresDriver::keepPrepared(const std::vector<Command>& commands,
                                  const std::vector<PgResult>& results) {
    for (size_t i = 0; i < results.size() && i < commands.size(); ++i) {
        // A prepared statement outlives the savepoint and the transaction it
        // was prepared in, whatever became of the run that followed it.
        const Command& command = commands[i];
        if (command.kind == Command::kPrepareShape && !command.text.empty() &&
            Succeeded(results[i].get())) {
            m_shapes.emplace(command.bound->shape(), command.text);
        }
    }
}

DatabaseDriver::Result PostgresDriver::runHeld(bool opens, const std::vector<HeldStatement>& held,
                                               const BoundStatement* query, bool commits,
                                               std::vector<SqlDA::ColumnDescription>& columns) {
    columns.clear();
    release();
    std::vector<Command> commands;
    if (opens) {
        commands.push_back({Command::kSimple, "BEGIN", kRun});
    }
    // The commands point into it: reserved so that it never moves.
    std::vector<BoundStatement> checks;
    checks.reserve(held.size());
    std::unordered_map<std::string, std::string> pending;
    for (const HeldStatement& statement : held) {
        if (HoldsNul(statement.statement)) {
            rollback();
            return Failed(kPredictionFailed, kPrepare, "a value holds a NUL character");
        }
        const BoundStatement* sent = &statement.statement;
        if (statement.expect != Expectation::kRuns) {
            checks.push_back(CheckingForm(statement));
            sent = &checks.back();
        }
        addShape(*sent, commands, pending);
    }
    if (query != nullptr) {
        addShape(*query, commands, pending);
    }
    if (commits) {
        commands.push_back({Command::kSimple, "COMMIT", kRun});
    }
    std::vector<PgResult> results;
    Result result = runPipeline(commands, results);
    keepPrepared(commands, results);
    if (!result.ok()) {
        rollback();
        return result;
    }
    for (const PgResult& one : results) {
        if (!Succeeded(one.get())) {
            return heldFailure(results, commands);
        }
    }
    // A transaction the server had to abort answers COMMIT with ROLLBACK.
    if (commits && std::strcmp(PQcmdStatus(results.back().get()), "COMMIT") != 0) {
        return Failed(kPredictionFailed, kRun, "the server rolled the batch back");
    }
    if (query != nullptr) {
        holdRows(std::move(results.back()), kResultInHand, true, columns);
    }
    return Result();
}

DatabaseDriver::Result PostgresDriver::heldFailure(const std::vector<PgResult>& results,
                                                   const std::vector<Command>& commands) {
    Result result;
    for (size_t i = 0; i < results.size(); ++i) {
        if (!Succeeded(results[i].get())) {
            result = failure(kPredictionFailed, commands[i].phase, results[i].get());
            break;
        }
    }
    rollback();
    if (connectionLost()) {
        result.status = kConnectionFailed;
    }
    return result;
}

int PostgresDriver::sendShape(const Command& command) {
    const std::vector<BoundStatement::Value>& values = command.bound->values();
    const int count = static_cast<int>(values.size());
    if (command.kind == Command::kPrepareShape) {
        std::vector<Oid> types;
        types.reserve(values.size());
        for (const BoundStatement::Value& value : values) {
            types.push_back(TypeOf(value.type));
        }
        return PQsendPrepare(m_conn.get(), command.text.c_str(), command.bound->shape().c_str(),
                             count, types.data());
    }
    std::vector<const char*> texts;
    texts.reserve(values.size());
    for (const BoundStatement::Value& value : values) {
        texts.push_back(value.null ? nullptr : value.text.c_str());
    }
    return PQsendQueryPrepared(m_conn.get(), command.text.c_str(), count, texts.data(), nullptr,
                               nullptr, 0);
}

DatabaseDriver::Result PostgresDriver::runSimple(const char* statement, const char* expectedTag) {
    if (!m_conn) {
        return Failed(kConnectionFailed, kRun, "the database is not open");
    }
    PgResult result(PQexec(m_conn.get(), statement));
    if (!Succeeded(result.get())) {
        return failure(kTransactionFailed, kRun, result.get());
    }
    if (std::strcmp(PQcmdStatus(result.get()), expectedTag) != 0) {
        return Failed(
            kTransactionFailed, kRun,
            std::string("the server answered ") + PQcmdStatus(result.get()) + " to " + statement);
    }
    return Result();
}

DatabaseDriver::Result PostgresDriver::failure(Status status, Phase phase,
                                               const pg_result* result) const {
    if (connectionLost()) {
        status = kConnectionFailed;
    }
    if (PQresultStatus(result) == PGRES_EMPTY_QUERY) {
        return Failed(status, kPrepare, "the statement is empty");
    }
    std::string message;
    if (result != nullptr) {
        message = OneLine(PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY));
        std::string detail = OneLine(PQresultErrorField(result, PG_DIAG_MESSAGE_DETAIL));
        if (!detail.empty()) {
            message += ": " + detail;
        }
    }
    if (message.empty() && m_conn) {
        message = OneLine(PQerrorMessage(m_conn.get()));
    }
    return Failed(status, phase, message.empty() ? "the server gave no reason" : message);
}

bool PostgresDriver::connectionLost() const {
    return !m_conn || PQstatus(m_conn.get()) == CONNECTION_BAD;
}
