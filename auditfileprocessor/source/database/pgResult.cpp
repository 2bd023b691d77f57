#include "pgResult.h"

#include <libpq-fe.h>

#include <utility>

PgResult::~PgResult() {
    reset();
}

PgResult::PgResult(PgResult&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}

PgResult& PgResult::operator=(PgResult&& other) noexcept {
    if (this != &other) {
        reset();
        m_handle = std::exchange(other.m_handle, nullptr);
    }
    return *this;
}

void PgResult::reset() {
    if (m_handle != nullptr) {
        PQclear(std::exchange(m_handle, nullptr));
    }
}
