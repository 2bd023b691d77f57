#include "conversionError.h"

#include "cppWebException.h"

namespace {

// The location this error has always named; logs and tests match it.
const char kSourceFile[] = "qxappshared/source/ConversionUtils";
const int kConversionErrorCode = 1050;

}  // namespace

void throwConversionError(const char* text, int line, const char* function) {
    throw CPPWebException(kConversionErrorCode, text, 1,
                          ExceptionLocation{kSourceFile, line, function, "KRL_THROW"});
}
