// SqliteStatement owns one compiled SQLite statement and finalizes it when it
// goes. Move-only: a moved-from owner is empty.
//   SqliteStatement statement(handle);  // from sqlite3_prepare_v2
//   sqlite3_step(statement.get());
#pragma once

struct sqlite3_stmt;

class SqliteStatement {
  public:
    SqliteStatement() = default;
    explicit SqliteStatement(sqlite3_stmt* handle) : m_handle(handle) {}
    ~SqliteStatement();
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;
    SqliteStatement(SqliteStatement&& other) noexcept;
    SqliteStatement& operator=(SqliteStatement&& other) noexcept;

    sqlite3_stmt* get() const { return m_handle; }
    explicit operator bool() const { return m_handle != nullptr; }
    // Finalizes the statement now; the owner is empty afterwards.
    void reset();

  private:
    sqlite3_stmt* m_handle = nullptr;
};
