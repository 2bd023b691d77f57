// PgResult owns one PostgreSQL result and clears it when it goes. Move-only:
// a moved-from owner is empty.
//   PgResult result(PQexec(connection, "BEGIN"));
//   if (PQresultStatus(result.get()) != PGRES_COMMAND_OK) ...
#pragma once

struct pg_result;

class PgResult {
  public:
    PgResult() = default;
    explicit PgResult(pg_result* handle) : m_handle(handle) {}
    ~PgResult();
    PgResult(const PgResult&) = delete;
    PgResult& operator=(const PgResult&) = delete;
    PgResult(PgResult&& other) noexcept;
    PgResult& operator=(PgResult&& other) noexcept;

    pg_result* get() const { return m_handle; }
    explicit operator bool() const { return m_handle != nullptr; }
    // Clears the result now; the owner is empty afterwards.
    void reset();

  private:
    pg_result* m_handle = nullptr;
};
