// The machine-readable report of one run ("-report FILE"): a JSON document
// with the program's version, start and end times, the run's result, the
// figures of the summary message and each audit file's outcome.
//   RunReport report(outcome, "1.0", ExitStatus::Of(outcome), 0);
//   AtomicFile::Write(path, report.Json(), reason);
#pragma once

#include <string>

#include "runOutcome.h"

class RunReport {
  public:
    // `status` is the code that "-exitstatus detailed" gives for the run;
    // `exitStatus` the one the process ends with.
    RunReport(const RunOutcome& outcome, const std::string& version, int status, int exitStatus);

    std::string Json() const;

  private:
    const RunOutcome& m_outcome;
    std::string m_version;
    int m_status;
    int m_exitStatus;
};
