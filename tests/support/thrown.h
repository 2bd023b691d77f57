// The text of the exception that an action raises, so that tables of cases
// can name the refusal they expect.
//   EXPECT_EQ(Thrown([&] { db.fetch(); }), "KRL_ASSERT(m_crHandle != NULL);");
#pragma once

#include <string>

#include "cppWebException.h"

// The exception's own text, with `where` followed by " at FILE:LINE" of the
// place that raised it; "<no exception>" when the action returns.
template <typename Action>
std::string Thrown(Action action, bool where = false) {
    try {
        action();
    } catch (const CPPWebException& error) {
        const ExceptionLocation& at = error.getBackTrace().at(0);
        return error.getErrorCodeMessage() +
               (where ? " at " + at.file + ":" + std::to_string(at.line) : "");
    }
    return "<no exception>";
}
