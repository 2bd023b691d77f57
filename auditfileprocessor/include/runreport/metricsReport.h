// The run's figures in the Prometheus text format ("-metrics FILE"), for the
// textfile collector of a node exporter: one gauge per figure of the last run.
//   MetricsReport metrics(outcome, "1.0", ExitStatus::Of(outcome));
//   AtomicFile::Write("/var/lib/node_exporter/afp.prom", metrics.Text(), reason);
#pragma once

#include <string>

#include "runOutcome.h"

class MetricsReport {
  public:
    // `status` is the code that "-exitstatus detailed" gives for the run.
    MetricsReport(const RunOutcome& outcome, const std::string& version, int status);

    std::string Text() const;

    static const char kPrefix[];  // "qxesauditfileprocessor_"

  private:
    const RunOutcome& m_outcome;
    std::string m_version;
    int m_status;
};
