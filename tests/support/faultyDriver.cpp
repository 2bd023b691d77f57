#include "faultyDriver.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "sqldbapi.h"

namespace {

FaultyDriver::Plan g_plan;
int g_commits = 0;
int g_statements = 0;
int g_sessionInserts = 0;

std::unique_ptr<DatabaseDriver> MakeFaultyDriver(const std::string& dbType) {
    return std::make_unique<FaultyDriver>(SQLDB::MakeRealDriver(dbType), dbType);
}

DatabaseDriver::Result Failure(int status, const std::string& message) {
    DatabaseDriver::Result result;
    result.status = status;
    result.phase = DatabaseDriver::kRun;
    result.message = message;
    return result;
}

}  // namespace

void FaultyDriver::Install(const Plan& plan) {
    g_plan = plan;
    g_commits = 0;
    g_statements = 0;
    g_sessionInserts = 0;
    SQLDB::SetDriverFactory(&MakeFaultyDriver);
}

bool FaultyDriver::ParsePlan(const std::string& text, Plan& plan) {
    const std::string::size_type equals = text.find('=');
    if (equals == std::string::npos) {
        return false;
    }
    const std::string kind = text.substr(0, equals);
    const int count = std::atoi(text.c_str() + equals + 1);
    if (count <= 0) {
        return false;
    }
    plan = Plan();
    if (kind == "commit") {
        plan.failCommit = count;
    } else if (kind == "statement") {
        plan.failStatement = count;
    } else if (kind == "drop") {
        plan.dropAtStatement = count;
    } else if (kind == "intrude") {
        plan.intrudeAtSessionInsert = count;
    } else if (kind == "intrudeevery") {
        plan.intrudeEverySessionInsert = count;
    } else {
        return false;
    }
    return true;
}

FaultyDriver::FaultyDriver(std::unique_ptr<DatabaseDriver> real, std::string dbType)
    : m_real(std::move(real)), m_dbType(std::move(dbType)) {}

void FaultyDriver::intrudeBefore(const BoundStatement& statement) {
    if (statement.shape().rfind("INSERT INTO QXES_SESSION(", 0) != 0) {
        return;
    }
    const int every = g_plan.intrudeEverySessionInsert;
    if (++g_sessionInserts != g_plan.intrudeAtSessionInsert &&
        (every == 0 || g_sessionInserts % every != 0)) {
        return;
    }
    std::unique_ptr<DatabaseDriver> other = SQLDB::MakeRealDriver(m_dbType);
    std::vector<SqlDA::ColumnDescription> columns;
    if (other->open(m_dbName, m_connectString).ok() && other->begin().ok() &&
        other->execute(statement, false, columns).ok() && other->commit().ok()) {
        std::fprintf(stderr, "intruded: %s\n", statement.values().front().text.c_str());
    }
    other->close();
}

DatabaseDriver::Result FaultyDriver::heldFault(const BoundStatement& statement, int countBefore) {
    intrudeBefore(statement);
    Result fault = statementFault();
    if (fault.ok() || m_dropped) {
        return fault;
    }
    g_statements = countBefore;
    m_real->rollback();
    fault.status = kPredictionFailed;
    return fault;
}

bool FaultyDriver::holdsBatches() const {
    return m_real->holdsBatches();
}

DatabaseDriver::Result FaultyDriver::runHeld(bool opens, const std::vector<HeldStatement>& held,
                                             const BoundStatement* query, bool commits,
                                             std::vector<SqlDA::ColumnDescription>& columns) {
    const int countBefore = g_statements;
    for (const HeldStatement& statement : held) {
        const Result fault = heldFault(statement.statement, countBefore);
        if (!fault.ok()) {
            return fault;
        }
    }
    const Result fault = query != nullptr ? heldFault(*query, countBefore) : Result();
    if (!fault.ok()) {
        return fault;
    }
    if (commits && ++g_commits == g_plan.failCommit) {
        m_real->rollback();
        return Failure(kDatabaseFailed,
                       "injected fault: commit " + std::to_string(g_commits) + " failed");
    }
    return m_real->runHeld(opens, held, query, commits, columns);
}

DatabaseDriver::Result FaultyDriver::dropped() const {
    return Failure(kConnectionFailed, "injected fault: the connection was dropped");
}

DatabaseDriver::Result FaultyDriver::statementFault() {
    if (m_dropped) {
        return dropped();
    }
    ++g_statements;
    if (g_statements == g_plan.failStatement) {
        return Failure(kDatabaseFailed,
                       "injected fault: statement " + std::to_string(g_statements) + " cannot run");
    }
    if (g_statements == g_plan.dropAtStatement) {
        // Gone as a server that goes away: the open transaction with it.
        m_real->close();
        m_dropped = true;
        return dropped();
    }
    return Result();
}

DatabaseDriver::Result FaultyDriver::open(const std::string& dbName,
                                          const std::string& connectString) {
    m_dropped = false;
    m_dbName = dbName;
    m_connectString = connectString;
    return m_real->open(dbName, connectString);
}

void FaultyDriver::close() {
    m_real->close();
}

std::string FaultyDriver::connectValue(const std::string& value) const {
    return m_real->connectValue(value);
}

std::string FaultyDriver::databaseName() const {
    return m_real->databaseName();
}

std::string FaultyDriver::serverVersion() const {
    return m_real->serverVersion();
}

std::string FaultyDriver::clientVersion() const {
    return m_real->clientVersion();
}

bool FaultyDriver::usesTypedDateLiterals() const {
    return m_real->usesTypedDateLiterals();
}

DatabaseDriver::Result FaultyDriver::begin() {
    return m_dropped ? dropped() : m_real->begin();
}

DatabaseDriver::Result FaultyDriver::commit() {
    if (m_dropped) {
        return dropped();
    }
    if (++g_commits == g_plan.failCommit) {
        m_real->rollback();
        return Failure(kDatabaseFailed,
                       "injected fault: commit " + std::to_string(g_commits) + " failed");
    }
    return m_real->commit();
}

DatabaseDriver::Result FaultyDriver::rollback() {
    return m_dropped ? Result() : m_real->rollback();
}

DatabaseDriver::Result FaultyDriver::execute(const std::string& statement, bool query,
                                             std::vector<SqlDA::ColumnDescription>& columns) {
    const Result fault = statementFault();
    return fault.ok() ? m_real->execute(statement, query, columns) : fault;
}

DatabaseDriver::Result FaultyDriver::execute(const BoundStatement& statement, bool query,
                                             std::vector<SqlDA::ColumnDescription>& columns) {
    intrudeBefore(statement);
    const Result fault = statementFault();
    return fault.ok() ? m_real->execute(statement, query, columns) : fault;
}

DatabaseDriver::Result FaultyDriver::executeAhead(const BoundStatement& statement) {
    const Result fault = statementFault();
    return fault.ok() ? m_real->executeAhead(statement) : fault;
}

DatabaseDriver::Result FaultyDriver::runAhead() {
    return m_dropped ? dropped() : m_real->runAhead();
}

DatabaseDriver::Result FaultyDriver::fetch(std::vector<std::optional<std::string>>& row) {
    return m_dropped ? dropped() : m_real->fetch(row);
}

void FaultyDriver::release() {
    if (!m_dropped) {
        m_real->release();
    }
}

DatabaseDriver::Result FaultyDriver::savepointLine() {
    return m_dropped ? dropped() : m_real->savepointLine();
}

DatabaseDriver::Result FaultyDriver::releaseLine() {
    return m_dropped ? dropped() : m_real->releaseLine();
}

DatabaseDriver::Result FaultyDriver::rollbackLine() {
    return m_dropped ? dropped() : m_real->rollbackLine();
}

DatabaseDriver::Result FaultyDriver::setDurableCommits(bool durable) {
    return m_dropped ? dropped() : m_real->setDurableCommits(durable);
}

void FaultyDriver::setLockWait(int milliseconds) {
    m_real->setLockWait(milliseconds);
}
