#include "krlAssertError.h"

#include <utility>

KRLAssertError::KRLAssertError(const std::string& condition, std::string sourceFile, int sourceLine,
                               std::string function)
    : CPPWebException(
          condition, 1,
          ExceptionLocation{std::move(sourceFile), sourceLine, std::move(function), "KRL_THROW"}) {}
