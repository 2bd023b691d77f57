#include "testDatabase.h"

#include <libpq-fe.h>
#include <sqlite3.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <random>
#include <stdexcept>

#include "processRunner.h"

struct TestDatabase::Native {
    sqlite3* sqlite = nullptr;
    PGconn* postgres = nullptr;

    ~Native() {
        sqlite3_close_v2(sqlite);
        PQfinish(postgres);
    }
};

namespace {

std::string Schema(const std::string& fileName) {
    const std::string schema = ReadFile(std::string(AFP_SOURCE_DIR) + "/schema/" + fileName);
    if (schema.empty()) {
        throw std::runtime_error("cannot read the schema file " + fileName);
    }
    return schema;
}

std::string Env(const char* name) {
    return std::getenv(name) == nullptr ? "" : std::getenv(name);
}

Rows SqliteQuery(sqlite3* db, const std::string& sql) {
    Rows rows;
    auto collect = [](void* out, int count, char** values, char**) {
        Rows& collected = *static_cast<Rows*>(out);
        collected.emplace_back();
        for (int i = 0; i < count; ++i) {
            collected.back().push_back(values[i] == nullptr ? "NULL" : values[i]);
        }
        return 0;
    };
    char* error = nullptr;
    if (sqlite3_exec(db, sql.c_str(), collect, &rows, &error) != SQLITE_OK) {
        const std::string reason = error != nullptr ? error : sqlite3_errmsg(db);
        sqlite3_free(error);
        throw std::runtime_error(sql + ": " + reason);
    }
    return rows;
}

Rows PostgresQuery(PGconn* conn, const std::string& sql) {
    PGresult* result = PQexec(conn, sql.c_str());
    const ExecStatusType status = PQresultStatus(result);
    const std::string reason =
        status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK ? "" : PQerrorMessage(conn);
    Rows rows(PQntuples(result));
    for (int r = 0; r < PQntuples(result); ++r) {
        for (int c = 0; c < PQnfields(result); ++c) {
            rows[r].push_back(PQgetisnull(result, r, c) ? "NULL" : PQgetvalue(result, r, c));
        }
    }
    PQclear(result);
    if (!reason.empty()) {
        throw std::runtime_error(sql + ": " + reason);
    }
    return rows;
}

// Runs one piece of administration on a short-lived connection.
void AdminExec(const std::string& conninfo, const std::string& sql) {
    std::unique_ptr<PGconn, void (*)(PGconn*)> conn(PQconnectdb(conninfo.c_str()), PQfinish);
    PostgresQuery(conn.get(), sql);
}

}  // namespace

TestDatabase::TestDatabase(TestBackend backend)
    : m_backend(backend), m_native(std::make_unique<Native>()) {
    try {
        create();
    } catch (const std::exception& error) {
        m_reason = error.what();
    }
}

TestDatabase::~TestDatabase() {
    m_db.reset();
    m_native.reset();
    if (m_backend == TestBackend::kSQLite && !m_dbName.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(std::filesystem::path(m_dbName).parent_path(), ignored);
    } else if (!m_adminConninfo.empty()) {
        try {
            AdminExec(m_adminConninfo, "DROP DATABASE IF EXISTS " + m_dbName + " WITH (FORCE)");
        } catch (const std::exception& error) {
            std::fprintf(stderr, "TestDatabase: %s\n", error.what());
        }
    }
}

void TestDatabase::create() {
    if (m_backend == TestBackend::kSQLite) {
        m_user = "afp";
        m_password = "afp-secret";
        char directory[] = "/tmp/afp-test-XXXXXX";
        if (mkdtemp(directory) == nullptr) {
            throw std::runtime_error("cannot create a temporary directory");
        }
        m_dbName = std::string(directory) + "/audit.db";
        if (sqlite3_open(m_dbName.c_str(), &m_native->sqlite) != SQLITE_OK) {
            throw std::runtime_error("cannot create " + m_dbName);
        }
        sqlite3_busy_timeout(m_native->sqlite, 5000);
        exec(Schema("sqlite.sql"));
        return;
    }
    const std::string host = Env("AFP_TEST_PG_HOST");
    if (host.empty()) {
        throw std::runtime_error(
            "AFP_TEST_PG_HOST is not set: start a server with tests/support/pgserver.sh start DIR "
            "and source DIR/env");
    }
    const std::string port = Env("AFP_TEST_PG_PORT");
    const std::string server = "host=" + host + (port.empty() ? "" : " port=" + port);
    m_user = Env("AFP_TEST_PG_USER");
    m_password = Env("AFP_TEST_PG_PASSWORD");
    m_connectString = server + " user=%s password=%s";
    const std::string login = server + " user=" + m_user + " password=" + m_password;
    static std::atomic<int> counter{0};
    const std::string name = "afp_test_" + std::to_string(getpid()) + "_" +
                             std::to_string(counter++) + "_" +
                             std::to_string(std::random_device()() % 1000000);
    AdminExec(login + " dbname=postgres", "CREATE DATABASE " + name);
    m_adminConninfo = login + " dbname=postgres";  // the database exists from here on
    m_dbName = name;
    m_native->postgres = PQconnectdb((login + " dbname=" + name).c_str());
    exec(Schema("postgresql.sql"));
}

SQLDB& TestDatabase::db() {
    if (!m_db) {
        auto session = std::make_unique<SQLDB>();  // kept only once connected
        session->connect(m_dbName, m_connectString, dbType(), m_user, m_password);
        m_db = std::move(session);
    }
    return *m_db;
}

Rows TestDatabase::query(const std::string& sql) {
    if (m_native->sqlite != nullptr) {
        return SqliteQuery(m_native->sqlite, sql);
    }
    if (m_native->postgres == nullptr) {
        throw std::runtime_error("the test database is unavailable: " + m_reason);
    }
    return PostgresQuery(m_native->postgres, sql);
}
