#include "cppWebException.h"

#include <utility>

CPPWebException::CPPWebException(int errorCode, int severity, ExceptionLocation where)
    : CPPWebException(errorCode, std::string(), severity, std::move(where)) {}

CPPWebException::CPPWebException(std::string text, int severity, ExceptionLocation where)
    : CPPWebException(0, std::move(text), severity, std::move(where)) {}

CPPWebException::CPPWebException(int errorCode, std::string text, int severity,
                                 ExceptionLocation where)
    : m_errorCode(errorCode),
      m_text(std::move(text)),
      m_severity(severity),
      m_what(m_text.empty() ? "error code " + std::to_string(errorCode) : m_text) {
    m_backTrace.push_back(std::move(where));
}

void CPPWebException::addLocation(ExceptionLocation where) {
    m_backTrace.push_back(std::move(where));
}
