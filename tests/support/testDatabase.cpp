#include "testDatabase.h"

#include <libpq-fe.h>
#include <sqlite3.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

#ifndef AFP_SOURCE_DIR
#error "AFP_SOURCE_DIR must name the source tree, to find the schema files"
#endif

struct TestDatabase::Native {
    sqlite3* sqlite = nullptr;
    PGconn* postgres = nullptr;

    ~Native() {
        sqlite3_close_v2(sqlite);
        if (postgres != nullptr) {
            PQfinish(postgres);
        }
    }
};

namespace {

std::string ReadSchema(const std::string& fileName) {
    std::string path = std::string(AFP_SOURCE_DIR) + "/schema/" + fileName;
    std::ifstream stream(path);
    if (!stream) {
        throw std::runtime_error("cannot read the schema file " + path);
    }
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

std::string Env(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

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

// Runs one piece of administration on a short-lived connection.
void AdminExec(const std::string& conninfo, const std::string& sql) {
    PGconn* conn = PQconnectdb(conninfo.c_str());
    std::string error;
    if (PQstatus(conn) != CONNECTION_OK) {
        error = PQerrorMessage(conn);
    } else {
        PGresult* result = PQexec(conn, sql.c_str());
        if (PQresultStatus(result) != PGRES_COMMAND_OK) {
            error = PQresultErrorMessage(result);
        }
        PQclear(result);
    }
    PQfinish(conn);
    if (!error.empty()) {
        throw std::runtime_error(sql + ": " + error);
    }
}

std::string UniqueDatabaseName() {
    static std::atomic<int> counter{0};
    std::random_device random;
    return "afp_test_" + std::to_string(getpid()) + "_" + std::to_string(counter++) + "_" +
           std::to_string(random() % 1000000);
}

}  // namespace

std::string BackendName(TestBackend backend) {
    return backend == TestBackend::kSQLite ? "SQLite" : "PostgreSQL";
}

void PrintTo(TestBackend backend, std::ostream* stream) {
    *stream << BackendName(backend);
}

bool TestDatabase::failWhenUnavailable() {
    return Env("CI") == "true";
}

TestDatabase::TestDatabase(TestBackend backend)
    : m_backend(backend), m_native(std::make_unique<Native>()) {
    try {
        if (backend == TestBackend::kSQLite) {
            createSqlite();
        } else {
            createPostgres();
        }
    } catch (const std::exception& error) {
        m_reason = error.what();
    }
}

TestDatabase::~TestDatabase() {
    m_db.reset();
    m_native.reset();
    if (m_backend == TestBackend::kSQLite) {
        if (!m_tempDir.empty()) {
            for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
                std::remove((m_dbName + suffix).c_str());
            }
            rmdir(m_tempDir.c_str());
        }
    } else if (!m_adminConninfo.empty() && !m_dbName.empty()) {
        try {
            AdminExec(m_adminConninfo, "DROP DATABASE IF EXISTS " + m_dbName + " WITH (FORCE)");
        } catch (const std::exception& error) {
            std::fprintf(stderr, "TestDatabase: %s\n", error.what());
        }
    }
}

void TestDatabase::createSqlite() {
    m_user = "afp";
    m_password = "afp-secret";
    char dirTemplate[] = "/tmp/afp-test-XXXXXX";
    if (mkdtemp(dirTemplate) == nullptr) {
        throw std::runtime_error("cannot create a temporary directory");
    }
    m_tempDir = dirTemplate;
    m_dbName = m_tempDir + "/audit.db";
    int code = sqlite3_open_v2(m_dbName.c_str(), &m_native->sqlite,
                               SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (code != SQLITE_OK) {
        throw std::runtime_error("cannot create " + m_dbName + ": " + sqlite3_errstr(code));
    }
    sqlite3_busy_timeout(m_native->sqlite, 5000);
    exec(ReadSchema("sqlite.sql"));
}

void TestDatabase::createPostgres() {
    std::string host = Env("AFP_TEST_PG_HOST");
    if (host.empty()) {
        throw std::runtime_error(
            "AFP_TEST_PG_HOST is not set: start a server with tests/support/pgserver.sh start DIR "
            "and source DIR/env");
    }
    std::string port = Env("AFP_TEST_PG_PORT");
    m_user = Env("AFP_TEST_PG_USER");
    m_password = Env("AFP_TEST_PG_PASSWORD");
    std::string server = "host=" + Quoted(host) + (port.empty() ? "" : " port=" + Quoted(port));
    std::string login = " user=" + Quoted(m_user) + " password=" + Quoted(m_password);
    m_connectString =
        "host=" + host + (port.empty() ? "" : " port=" + port) + " user=%s password=%s";
    std::string adminConninfo = server + login + " dbname=postgres";
    std::string name = UniqueDatabaseName();
    AdminExec(adminConninfo, "CREATE DATABASE " + name);
    m_adminConninfo = adminConninfo;
    m_dbName = name;
    m_native->postgres = PQconnectdb((server + login + " dbname=" + Quoted(name)).c_str());
    if (PQstatus(m_native->postgres) != CONNECTION_OK) {
        throw std::runtime_error(std::string("cannot connect to ") + name + ": " +
                                 PQerrorMessage(m_native->postgres));
    }
    exec(ReadSchema("postgresql.sql"));
}

std::string TestDatabase::dbType() const {
    return m_backend == TestBackend::kSQLite ? "SQ" : "PG";
}

SQLDB& TestDatabase::db() {
    if (!m_db) {
        auto db = std::make_unique<SQLDB>();
        db->connect(m_dbName, m_connectString, dbType(), m_user, m_password);
        m_db = std::move(db);
    }
    return *m_db;
}

void TestDatabase::exec(const std::string& sql) {
    if (m_native->sqlite != nullptr) {
        char* error = nullptr;
        if (sqlite3_exec(m_native->sqlite, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
            std::string reason = error != nullptr ? error : "unknown error";
            sqlite3_free(error);
            throw std::runtime_error(sql + ": " + reason);
        }
        return;
    }
    if (m_native->postgres == nullptr) {
        throw std::runtime_error("the test database is unavailable: " + m_reason);
    }
    PGresult* result = PQexec(m_native->postgres, sql.c_str());
    std::string reason =
        PQresultStatus(result) == PGRES_COMMAND_OK || PQresultStatus(result) == PGRES_TUPLES_OK
            ? ""
            : PQresultErrorMessage(result);
    PQclear(result);
    if (!reason.empty()) {
        throw std::runtime_error(sql + ": " + reason);
    }
}

std::vector<std::vector<std::string>> TestDatabase::query(const std::string& sql) {
    std::vector<std::vector<std::string>> rows;
    if (m_native->sqlite != nullptr) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(m_native->sqlite, sql.c_str(), -1, &statement, nullptr) !=
            SQLITE_OK) {
            std::string reason = sqlite3_errmsg(m_native->sqlite);
            sqlite3_finalize(statement);
            throw std::runtime_error(sql + ": " + reason);
        }
        int code;
        while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
            std::vector<std::string> row;
            for (int i = 0; i < sqlite3_column_count(statement); ++i) {
                const unsigned char* text = sqlite3_column_text(statement, i);
                row.push_back(text == nullptr ? "NULL" : reinterpret_cast<const char*>(text));
            }
            rows.push_back(row);
        }
        std::string reason = code == SQLITE_DONE ? "" : sqlite3_errmsg(m_native->sqlite);
        sqlite3_finalize(statement);
        if (!reason.empty()) {
            throw std::runtime_error(sql + ": " + reason);
        }
        return rows;
    }
    if (m_native->postgres == nullptr) {
        throw std::runtime_error("the test database is unavailable: " + m_reason);
    }
    PGresult* result = PQexec(m_native->postgres, sql.c_str());
    if (PQresultStatus(result) != PGRES_TUPLES_OK) {
        std::string reason = PQresultErrorMessage(result);
        PQclear(result);
        throw std::runtime_error(sql + ": " + reason);
    }
    for (int r = 0; r < PQntuples(result); ++r) {
        std::vector<std::string> row;
        for (int c = 0; c < PQnfields(result); ++c) {
            row.push_back(PQgetisnull(result, r, c) ? "NULL" : PQgetvalue(result, r, c));
        }
        rows.push_back(row);
    }
    PQclear(result);
    return rows;
}

long long TestDatabase::countRows(const std::string& table) {
    std::vector<std::vector<std::string>> rows = query("SELECT COUNT(*) FROM " + table);
    return std::stoll(rows.at(0).at(0));
}
