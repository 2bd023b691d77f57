// Where an exception was raised or passed on: the source file text, the line,
// the function and the macro text that raised it, as an administrator reads them
// in a back-trace.
//   ExceptionLocation{"afpmain", 105, "qxesauditfileprocessor::main", "KRL_THROW"}
#pragma once

#include <string>

struct ExceptionLocation {
    std::string file;
    int line = 0;
    std::string function;
    std::string macro;
};
