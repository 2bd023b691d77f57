// The run's figures in the Prometheus text format ("-metrics FILE"), for the
// textfile collector of a node exporter: one gauge per figure of the last run.
// Besides the last run's figures: when a run last loaded its directory to
// the end, and how many audit files wait in it and for how long, which is
// what an alert is written against.
//   MetricsReport metrics(outcome, "1.0", ExitStatus::Of(outcome), previousText);
//   AtomicFile::Write("/var/lib/node_exporter/afp.prom", metrics.Text(), reason);
#pragma once

#include <string>

#include "runOutcome.h"

class MetricsReport {
  public:
    // `status` is the code that "-exitstatus detailed" gives for the run;
    // `previousText` is what the metrics file held before (empty when none),
    // from which the time of the last successful run carries over.
    MetricsReport(const RunOutcome& outcome, const std::string& version, int status,
                  const std::string& previousText = std::string());

    std::string Text() const;

    static const char kPrefix[];  // "qxesauditfileprocessor_"

  private:
    const RunOutcome& m_outcome;
    std::string m_version;
    int m_status;
    // When the last run that loaded its directory to the end ended (0: never).
    int64_t m_lastSuccess;
};
