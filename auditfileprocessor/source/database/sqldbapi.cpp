#include "sqldbapi.h"

#include <cstddef>
#include <new>
#include <utility>

#include "cppWebException.h"
#include "databaseDriver.h"
#include "krlAssertError.h"
#include "postgresDriver.h"
#include "rdxSqlException.h"
#include "sqlDumpFile.h"
#include "sqliteDriver.h"

namespace {

// The SQL dump also marks where each transaction begins and ends, so that it
// can be replayed with the loader's own batches.
// The end of a transaction also pushes the dump's buffer out, so that a dump
// read during a run ends at a boundary.
void DumpTransactionEnd(const char* statement) {
    SQLDB::WriteToDump(statement);
    SqlDumpFile::Flush();
}

const char kSourceFile[] = "auditfileprocessor/source/sqldbapi";

// The attribute numbers of the session description.
constexpr long kAttributeClientVersion = 114;
constexpr long kAttributeDatabaseName = 118;
constexpr long kAttributeServerVersion = 119;

ExceptionLocation Where(const char* function, int line) {
    return ExceptionLocation{kSourceFile, line, function, "KRL_THROW"};
}

// The failure text with "%0" replaced by the status and the database's own
// reason after it, so that the fixed text stays a prefix that callers can match.
std::string FailureText(const char* text, const DatabaseDriver::Result& result) {
    std::string message = text;
    std::string::size_type insert = message.find("%0");
    if (insert != std::string::npos) {
        message.replace(insert, 2, std::to_string(result.status));
    }
    if (!result.message.empty()) {
        message += " " + result.message;
    }
    return message;
}

[[noreturn]] void Raise(const char* text, const DatabaseDriver::Result& result,
                        const char* function, int line) {
    throw RDXSQLException(FailureText(text, result), result.status, Where(function, line));
}

// The dump text of the held transaction, written out once it commits.
std::string* g_heldDump = nullptr;

void WriteHeldDump(const std::string& text) {
    if (!text.empty()) {
        SqlDumpFile::Write(text);
        SqlDumpFile::Flush();
    }
}

// How every session makes its driver; replaced only by fault tests.
SQLDB::DriverFactory g_driverFactory = &SQLDB::MakeRealDriver;

// Places the user at the first "%s" of the connect string and the password at
// the next one after it. A string without "%s" yields an empty result: the
// database is then named by the database name alone.
std::string EffectiveConnectString(const std::string& connectString, const std::string& user,
                                   const std::string& password) {
    std::string::size_type userAt = connectString.find("%s");
    if (userAt == std::string::npos) {
        return "";
    }
    std::string result = connectString.substr(0, userAt) + user + connectString.substr(userAt + 2);
    // Searching after the user keeps a "%s" inside the user's own text intact.
    std::string::size_type passwordAt = result.find("%s", userAt + user.size());
    if (passwordAt != std::string::npos) {
        result.replace(passwordAt, 2, password);
    }
    return result;
}

}  // namespace

std::unique_ptr<DatabaseDriver> SQLDB::MakeRealDriver(const std::string& dbType) {
    if (dbType == "SQ") {
        return std::make_unique<SqliteDriver>();
    }
    if (dbType == "PG") {
        return std::make_unique<PostgresDriver>();
    }
    throw CPPWebException("Unsupported database type \"" + dbType +
                              "\" in -dbconnect: the supported types are \"SQ\" (SQLite) and "
                              "\"PG\" (PostgreSQL).",
                          1, Where("SQLDB::connect", __LINE__));
}

void SQLDB::SetDriverFactory(DriverFactory factory) {
    g_driverFactory = factory;
}

SQLDB::SQLDB() = default;

SQLDB::~SQLDB() {
    try {
        disconnect();
    } catch (const std::exception&) {
        // A destructor must not throw; the connection is gone either way.
    }
}

std::string SQLDB::connect(const std::string& dbName, const std::string& connectString,
                           const std::string& dbType, const std::string& user,
                           const std::string& password) {
    disconnect();
    m_dbName = dbName;
    m_connectString = connectString;
    m_dbType = dbType;
    m_user = user;
    m_password = password;
    std::unique_ptr<DatabaseDriver> driver = g_driverFactory(dbType);
    driver->setLockWait(m_lockWaitSeconds * 1000);
    std::string effective = EffectiveConnectString(connectString, driver->connectValue(user),
                                                   driver->connectValue(password));
    DatabaseDriver::Result result;
    try {
        result = driver->open(dbName, effective);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        throw CPPWebException(38, 1, Where("SQLDB::connect", __LINE__));
    }
    m_status = result.status;
    if (!result.ok()) {
        Raise("Attach to database failed with status %0.", result, "SQLDB::connect", __LINE__);
    }
    m_driver = std::move(driver);
    return "Database: " + getAttribute(kAttributeDatabaseName) +
           " Server Version: " + getAttribute(kAttributeServerVersion) +
           " Client Version: " + getAttribute(kAttributeClientVersion);
}

void SQLDB::WriteToDump(const std::string& statement) {
    if (statement.empty()) {
        return;
    }
    if (g_heldDump != nullptr) {
        g_heldDump->push_back('\n');
        g_heldDump->append(statement);
        return;
    }
    SqlDumpFile::WriteStatement(statement);
}

std::string SQLDB::reconnect() {
    return connect(m_dbName, m_connectString, m_dbType, m_user, m_password);
}

void SQLDB::setDurableCommits(bool durable) {
    KRL_ASSERT(m_trHandle == NULL && m_driver, kSourceFile, __LINE__);
    DatabaseDriver::Result result = m_driver->setDurableCommits(durable);
    m_status = result.status;
    if (!result.ok()) {
        Raise("Setting the commit durability failed with status %0.", result,
              "SQLDB::setDurableCommits", __LINE__);
    }
}

void SQLDB::beginLine() {
    m_inLine = true;
    m_lineSavepointTaken = false;
    m_line = LineResult();
    m_lineHeldFrom = m_held.size();
    m_lineSent = false;
}

SQLDB::LineResult SQLDB::endLine(bool keep) {
    LineResult line = std::exchange(m_line, LineResult());
    const bool taken = std::exchange(m_lineSavepointTaken, false);
    m_inLine = false;
    m_knownKeys.EndLine(keep && !line.stopsFile);
    if (m_holding) {
        return endHeldLine(std::move(line), keep);
    }
    if (!taken || m_trHandle == NULL || line.stopsFile) {
        return line;
    }
    freeRequest();
    DatabaseDriver::Result result = keep ? m_trHandle->releaseLine() : m_trHandle->rollbackLine();
    m_status = result.status;
    if (!result.ok()) {
        // Rows that can be neither kept nor undone leave the batch in doubt.
        line.stopsFile = true;
        line.failureStatus = result.status;
        line.failureText =
            FailureText(keep ? "Keeping the rows of a line failed with status %0."
                             : "Undoing the rows of a refused line failed with status %0.",
                        result);
    }
    return line;
}

SQLDB::LineResult SQLDB::endHeldLine(LineResult line, bool keep) {
    if (keep || line.stopsFile) {
        return line;
    }
    if (!m_lineSent) {
        // Nothing of the refused line reached the database yet.
        m_held.erase(m_held.begin() + static_cast<std::ptrdiff_t>(m_lineHeldFrom), m_held.end());
        return line;
    }
    line.stopsFile = true;
    line.failureStatus = DatabaseDriver::kPredictionFailed;
    line.failureText = "rows of a refused line went out with its batch";
    return line;
}

bool SQLDB::canHoldBatches() const {
    return m_driver && m_driver->holdsBatches();
}

void SQLDB::holdLookup(const BoundStatement& statement, bool findsRow) {
    freeRequest();
    hold(statement, findsRow ? DatabaseDriver::Expectation::kFindsRow
                             : DatabaseDriver::Expectation::kFindsNoRow);
}

void SQLDB::abandonHeldBatch(const std::string& reason) {
    recordFailure(DatabaseDriver::kPredictionFailed, reason);
}

void SQLDB::hold(const BoundStatement& statement, DatabaseDriver::Expectation expect) {
    m_held.push_back({statement, expect});
    if (m_held.size() >= kMaxHeld) {
        sendHeld(nullptr, false);
    }
}

void SQLDB::sendHeld(const BoundStatement* query, bool commits) {
    if (m_inLine && m_held.size() > m_lineHeldFrom) {
        m_lineSent = true;
    }
    m_lineHeldFrom = 0;
    std::vector<DatabaseDriver::HeldStatement> held = std::move(m_held);
    m_held.clear();
    if (!m_outputDA) {
        m_outputDA = std::make_unique<SqlDA>();
    }
    DatabaseDriver::Result result =
        m_driver->runHeld(!m_opened, held, query, commits, m_outputDA->columns);
    m_opened = true;
    m_status = result.status;
    if (!result.ok()) {
        // The driver rolled the transaction back: nothing of it stays.
        m_opened = false;
        m_heldBatchLost = true;
        recordFailure(result.status, result.message);
        Raise(commits ? "Commit failed with status %0." : "sqlExecute failed with status %0.",
              result, "SQLDB::sendHeld", __LINE__);
    }
}

SqlDA* SQLDB::runHeldStatement(const BoundStatement& statement, eRequestType type) {
    if (type == kUpdate) {
        hold(statement, DatabaseDriver::Expectation::kRuns);
        if (m_inLine) {
            ++m_line.writes;
        }
        return NULL;
    }
    sendHeld(&statement, false);
    if (m_outputDA->columns.empty()) {
        return NULL;
    }
    m_crHandle = m_outputDA.get();
    return m_crHandle;
}

void SQLDB::commitHeld(bool commit) {
    m_holding = false;
    g_heldDump = nullptr;
    const std::string dump =
        std::exchange(m_heldDump, std::string()) + (commit ? "\nCOMMIT" : "\nROLLBACK");
    if (commit) {
        try {
            sendHeld(nullptr, true);
        } catch (const std::exception&) {
            m_trHandle = nullptr;
            m_held.clear();
            m_knownKeys.Forget();
            throw;
        }
        m_trHandle = nullptr;
        m_knownKeys.EndBatch(true);
        WriteHeldDump(dump);
        return;
    }
    m_trHandle = nullptr;
    m_held.clear();
    m_knownKeys.EndBatch(false);
    if (m_heldBatchLost) {
        // A wrong prediction may come from keys another loader changed since.
        m_knownKeys.Forget();
    } else {
        // Given up on purpose (a stop request): shown as today's batch is.
        WriteHeldDump(dump);
    }
    if (m_opened) {
        m_driver->rollback();
    }
}

void SQLDB::noteRefusedStatement(const std::string& reason) {
    recordFailure(DatabaseDriver::kStatementFailed, reason);
}

void SQLDB::recordFailure(int status, const std::string& text) {
    if (status == DatabaseDriver::kPredictionFailed) {
        m_heldBatchLost = true;
    }
    if (!m_inLine) {
        return;
    }
    // The first failure of the transaction, the connection or the database
    // decides that the file stops; until one comes, the last refusal says why.
    if (!m_line.stopsFile) {
        m_line.failureStatus = status;
        m_line.failureText = text;
        m_line.stopsFile = status <= DatabaseDriver::kTransactionFailed;
    }
}

std::string SQLDB::getAttribute(long attributeId) {
    std::string value;
    if (m_driver) {
        switch (attributeId) {
            case kAttributeDatabaseName:
                value = m_driver->databaseName();
                break;
            case kAttributeServerVersion:
                value = m_driver->serverVersion();
                break;
            case kAttributeClientVersion:
                value = m_driver->clientVersion();
                break;
            default:
                break;
        }
    }
    return value.empty() ? "unknown" : value;
}

void SQLDB::disconnect() {
    freeRequest();
    if (m_holding) {
        m_heldBatchLost = true;
        commitHeld(false);
    }
    if (m_trHandle != NULL) {
        m_driver->rollback();  // uncommitted work does not survive the session
        m_trHandle = NULL;
    }
    if (m_driver) {
        m_driver->close();
        m_driver.reset();
    }
}

SqlDA* SQLDB::execute(const std::string& statement, eRequestType type) {
    return run(&statement, nullptr, type);
}

SqlDA* SQLDB::execute(const BoundStatement& statement, eRequestType type) {
    return run(nullptr, &statement, type);
}

void SQLDB::takeLineSavepoint() {
    // A held batch is undone as a whole: its lines need no savepoints.
    if (!m_inLine || m_lineSavepointTaken || m_holding) {
        return;
    }
    DatabaseDriver::Result savepoint = m_trHandle->savepointLine();
    if (!savepoint.ok()) {
        m_status = savepoint.status;
        recordFailure(DatabaseDriver::kTransactionFailed, savepoint.message);
        Raise("Taking the savepoint of a line failed with status %0.", savepoint, "SQLDB::execute",
              __LINE__);
    }
    m_lineSavepointTaken = true;
}

void SQLDB::executeAhead(const BoundStatement& statement) {
    KRL_ASSERT(m_trHandle != NULL, kSourceFile, __LINE__);
    freeRequest();
    if (m_holding) {
        runHeldStatement(statement, kUpdate);
        return;
    }
    takeLineSavepoint();
    DatabaseDriver::Result result = m_trHandle->executeAhead(statement);
    m_status = result.status;
    if (!result.ok()) {
        recordFailure(result.status, result.message);
        Raise("sqlExecute failed with status %0.", result, "SQLDB::executeAhead", __LINE__);
    }
    if (m_inLine) {
        ++m_line.writes;
    }
}

bool SQLDB::runAhead() {
    KRL_ASSERT(m_trHandle != NULL, kSourceFile, __LINE__);
    freeRequest();
    if (m_holding) {
        return true;  // predicted: checked with the batch
    }
    DatabaseDriver::Result result = m_trHandle->runAhead();
    m_status = result.status;
    if (!result.ok()) {
        recordFailure(result.status, result.message);
    }
    return result.ok();
}

SqlDA* SQLDB::run(const std::string* text, const BoundStatement* bound, eRequestType type) {
    m_requestType = type;
    KRL_ASSERT(m_trHandle != NULL, kSourceFile, __LINE__);
    freeRequest();  // one statement in hand at a time
    if (m_holding) {
        if (bound != nullptr) {
            return runHeldStatement(*bound, type);
        }
        BoundStatement plain;
        plain.setShape(*text);
        return runHeldStatement(plain, type);
    }
    takeLineSavepoint();
    if (!m_outputDA) {
        m_outputDA = std::make_unique<SqlDA>();  // kept: one allocation per session
    }
    SqlDA* descriptor = m_outputDA.get();
    DatabaseDriver::Result result =
        text != nullptr ? m_trHandle->execute(*text, type == kQuery, descriptor->columns)
                        : m_trHandle->execute(*bound, type == kQuery, descriptor->columns);
    m_status = result.status;
    if (!result.ok()) {
        m_trHandle->release();
        recordFailure(result.status, result.message);
        if (result.phase == DatabaseDriver::kPrepare) {
            Raise("Prepare failed with status %0.", result, "SQLDB::execute", __LINE__);
        }
        if (type == kQuery) {
            Raise("Cursor open failed with status %0.", result, "SQLDB::execute", __LINE__);
        }
        Raise("sqlExecute failed with status %0.", result, "SQLDB::execute", __LINE__);
    }
    if (type == kUpdate || descriptor->columns.empty()) {
        m_trHandle->release();
        if (type == kUpdate && m_inLine) {
            ++m_line.writes;
        }
        return NULL;
    }
    m_crHandle = descriptor;
    return m_crHandle;
}

SqlDA* SQLDB::fetch() {
    KRL_ASSERT(m_crHandle != NULL, kSourceFile, __LINE__);
    DatabaseDriver::Result result = m_driver->fetch(m_crHandle->row);
    m_status = result.status;
    if (!result.ok()) {
        recordFailure(result.status, result.message);
        Raise("Fetch failed with status %0.", result, "SQLDB::fetch", __LINE__);
    }
    if (result.status == DatabaseDriver::kNoMoreRows) {
        m_crHandle->row.clear();
        return NULL;
    }
    return m_crHandle;
}

void SQLDB::startTransaction(bool held) {
    KRL_ASSERT(m_trHandle == NULL, kSourceFile, __LINE__);
    if (held && canHoldBatches()) {
        // BEGIN goes out with the batch's first statements.
        m_holding = true;
        m_opened = false;
        m_heldBatchLost = false;
        m_held.clear();
        m_heldDump.clear();
        g_heldDump = &m_heldDump;
        m_trHandle = m_driver.get();
        WriteToDump("BEGIN");
        return;
    }
    DatabaseDriver::Result result;
    if (!m_driver) {
        result.status = DatabaseDriver::kConnectionFailed;
        result.message = "the session is not connected";
    } else {
        result = m_driver->begin();
    }
    m_status = result.status;
    if (!result.ok()) {
        Raise("Start transaction failed with status %0.", result, "SQLDB::startTransaction",
              __LINE__);
    }
    m_trHandle = m_driver.get();
    WriteToDump("BEGIN");
}

void SQLDB::commit(int commitOrRollback) {
    if (m_trHandle == NULL) {
        return;
    }
    freeRequest();
    m_inLine = false;
    m_lineSavepointTaken = false;
    m_line = LineResult();
    if (m_holding) {
        commitHeld(commitOrRollback != 0);
        return;
    }
    DatabaseDriver* driver = std::exchange(m_trHandle, nullptr);
    DumpTransactionEnd(commitOrRollback != 0 ? "COMMIT" : "ROLLBACK");
    DatabaseDriver::Result result = commitOrRollback != 0 ? driver->commit() : driver->rollback();
    m_knownKeys.EndBatch(result.ok() && commitOrRollback != 0);
    m_status = result.status;
    // A batch that did not reach the disk must not pass for loaded; a failed
    // rollback loses nothing, so it is only recorded.
    if (!result.ok() && commitOrRollback != 0) {
        Raise("Commit failed with status %0.", result, "SQLDB::commit", __LINE__);
    }
}

bool SQLDB::isTransactionOpen() const {
    return m_trHandle != NULL;
}

bool SQLDB::usesTypedDateLiterals() const {
    return m_driver ? m_driver->usesTypedDateLiterals() : true;
}

void SQLDB::freeRequest() {
    if (m_driver) {
        m_driver->release();
    }
    m_crHandle = NULL;
    if (m_outputDA) {
        m_outputDA->columns.clear();
        m_outputDA->row.clear();
    }
}
