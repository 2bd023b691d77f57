// The report's -passfile, read by the loader's own reader with its checks
// (a file that group or others may read is refused) and its numbered messages,
// which go to standard error: standard output may carry the text summary.
//   if (!ReportCredentials::readPasswordFile(options)) { return 2; }
#pragma once

#include "reportOptions.h"

class ReportCredentials {
  public:
    // Sets options.dbPassword from the first line of options.passwordFile, when
    // one is named; false after AFP-0059 or AFP-0060 when the file cannot serve.
    static bool readPasswordFile(ReportOptions& options);
};
