// The SQL access layer's exception: a database failure with the status the
// driver reported. It belongs to the family, so every handler that catches a
// CPPWebException also catches it.
//   throw RDXSQLException("Prepare failed with status -1.", -1, {"sqldbapi", 0, "SQLDB::execute",
//   "KRL_THROW"});
#pragma once

#include <string>

#include "cppWebException.h"

class RDXSQLException : public CPPWebException {
  public:
    RDXSQLException(std::string text, int status, ExceptionLocation where);

    int getStatus() const { return m_status; }

  private:
    int m_status;
};
