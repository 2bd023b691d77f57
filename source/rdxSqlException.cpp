#include "rdxSqlException.h"

#include <utility>

RDXSQLException::RDXSQLException(std::string text, int status, ExceptionLocation where)
    : CPPWebException(std::move(text), 1, std::move(where)), m_status(status) {}
