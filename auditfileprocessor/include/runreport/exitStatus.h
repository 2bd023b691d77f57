// The exit status that tells a scheduler how a run went ("-exitstatus
// detailed"), with codes in the spirit of sysexits.h; without the option a
// run that reaches its end exits with 0.
//   return ExitStatus::Of(outcome);  // 65 when lines were refused
#pragma once

#include "runOutcome.h"

class ExitStatus {
  public:
    static constexpr int kLoaded = 0;                // everything loaded
    static constexpr int kUsage = 64;                // the command line was refused
    static constexpr int kLinesRefused = 65;         // some lines were not loaded
    static constexpr int kNoAuditDirectory = 66;     // the audit directory does not exist
    static constexpr int kDatabaseUnavailable = 69;  // the database could not be reached
    static constexpr int kInternalError = 70;        // an unexpected failure
    static constexpr int kOutputFailed = 73;         // an output could not be written
    static constexpr int kFileStopped = 75;          // a file stopped, waits, or a signal

    // The code for what the run did; the worst outcome wins. An output that
    // could not be written wins over a stopped file, refused lines and
    // success: the others are taken up by the next run, a lost output is not.
    static int Of(const RunOutcome& outcome);
    // "loaded", "lines refused", "file stopped", ... : the code in words.
    static const char* Meaning(int status);
    // Whether a run with that status went through its whole audit directory
    // (lines may have been refused).
    static bool LoadedToTheEnd(int status) { return status == kLoaded || status == kLinesRefused; }
};
