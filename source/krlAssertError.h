// The assertion error of the core runtime: its text is the failed condition in
// the form "KRL_ASSERT(condition);", located at the source text and line given.
//   KRL_ASSERT(m_trHandle != NULL, "auditfileprocessor/source/sqldbapi", 210);
//   KRL_ASSERT(FALSE, "auditfileprocessor/source/parser", 461);  // always fails
#pragma once

#include <string>

#include "cppWebException.h"

class KRLAssertError : public CPPWebException {
  public:
    KRLAssertError(const std::string& condition, std::string sourceFile, int sourceLine,
                   std::string function);
};

// The condition that never holds, so that KRL_ASSERT(FALSE, ...) reads as its text.
constexpr bool FALSE = false;

// The condition's text is kept exactly as written (the preprocessor only folds
// runs of blanks), because administrators and tests match assertion texts.
#define KRL_ASSERT(condition, sourceFile, sourceLine)                                       \
    do {                                                                                    \
        if (!(condition)) {                                                                 \
            throw KRLAssertError("KRL_ASSERT(" #condition ");", (sourceFile), (sourceLine), \
                                 __func__);                                                 \
        }                                                                                   \
    } while (false)
