// How far one run got and what it did: kept by the program entry while the
// run goes on, and read at its end for the summary message, the exit status
// and the run reports.
//   RunOutcome outcome;
//   outcome.stage = RunStage::kConnected;
//   outcome.statistics = parser.Statistics();
//   outcome.Finish();
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "runStatistics.h"

// The steps of a run, in order; a failure ends the run in the step it was in.
enum class RunStage {
    kStarting,            // runtime and message catalogue
    kReadingCommandLine,  // a failure here is a refused command line
    kCheckingOutputs,     // the dump file, the run reports' paths
    kConnecting,          // data access layer, connection
    kConnected,           // the audit tables are described
    kLoading,             // the audit directory is loaded
};

struct RunOutcome {
    RunOutcome();

    // Marks the end of the run: the end time, and the elapsed seconds.
    void Finish();
    double ElapsedSeconds() const;
    // The elapsed seconds with three decimals and a point, whatever the locale.
    std::string ElapsedSecondsText() const;
    // A time as seconds since the epoch, and as "2026-11-22T09:30:00Z".
    static int64_t EpochSeconds(std::chrono::system_clock::time_point time);
    static std::string UtcText(std::chrono::system_clock::time_point time);
    // A time in local time with its offset, "2026-11-22T10:30:00+01:00".
    static std::string LocalText(std::chrono::system_clock::time_point time);
    // Counts the audit files still waiting in the directory once the run is
    // over, and the age of the oldest, for the metrics.
    void MeasureBacklog(const std::string& directory);
    bool Connected() const { return stage >= RunStage::kConnected; }

    RunStage stage = RunStage::kStarting;
    bool failed = false;             // an exception ended the run
    bool unexpectedFailure = false;  // ... of a kind outside the known families
    bool auditDirectoryMissing = false;
    // "-check": nothing was loaded; the exit status is always the detailed one.
    bool checkOnly = false;
    // The outputs that could not be written, as FailedOutputs names them.
    std::vector<std::string> failedOutputs;
    RunStatistics statistics;
    // The audit files left in the directory after the run, and the age in
    // seconds of the oldest of them (0 when none is left).
    unsigned filesInDirectory = 0;
    int64_t oldestFileAgeSeconds = 0;

    std::chrono::system_clock::time_point startTime, endTime;
    std::chrono::steady_clock::time_point startClock, endClock;
};
