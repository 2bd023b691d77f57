// The exception that stops the work. It carries a catalogue message number, a
// text of its own, or both, a severity, and the places it passed through.
//   throw CPPWebException(8, 1, {"afpmain", 105, "qxesauditfileprocessor::main", "KRL_THROW"});
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "exceptionLocation.h"

class CPPWebException : public std::exception {
  public:
    // Raised with a catalogue message number only: the text is looked up when shown.
    CPPWebException(int errorCode, int severity, ExceptionLocation where);
    // Raised with a finished text (error code 0).
    CPPWebException(std::string text, int severity, ExceptionLocation where);
    CPPWebException(int errorCode, std::string text, int severity, ExceptionLocation where);

    int getErrorCode() const { return m_errorCode; }
    int getSeverity() const { return m_severity; }
    // The exception's own text; empty when it carries only an error code.
    const std::string& getErrorCodeMessage() const { return m_text; }
    const std::vector<ExceptionLocation>& getBackTrace() const { return m_backTrace; }

    // Records a place the exception passed through on its way out.
    void addLocation(ExceptionLocation where);

    // The own text, or "error code N" when there is none.
    const char* what() const noexcept override { return m_what.c_str(); }

  private:
    int m_errorCode;
    std::string m_text;
    int m_severity;
    std::vector<ExceptionLocation> m_backTrace;
    std::string m_what;
};
