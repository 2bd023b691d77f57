#include "sqliteStatement.h"

#include <sqlite3.h>

#include <utility>

SqliteStatement::~SqliteStatement() {
    reset();
}

SqliteStatement::SqliteStatement(SqliteStatement&& other) noexcept
    : m_handle(std::exchange(other.m_handle, nullptr)) {}

SqliteStatement& SqliteStatement::operator=(SqliteStatement&& other) noexcept {
    if (this != &other) {
        reset();
        m_handle = std::exchange(other.m_handle, nullptr);
    }
    return *this;
}

void SqliteStatement::reset() {
    // The result of finalize repeats the statement's last error, which its
    // caller has already seen, so it is not looked at here.
    sqlite3_finalize(std::exchange(m_handle, nullptr));
}
