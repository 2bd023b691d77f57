#include "exitStatus.h"

namespace {

int OfStatistics(const RunStatistics& statistics) {
    // Each of these leaves a file to a later run.
    for (FileOutcome left : {FileOutcome::kStopped, FileOutcome::kPutBack,
                             FileOutcome::kStillWritten, FileOutcome::kWaiting}) {
        if (statistics.Count(left) > 0) {
            return ExitStatus::kFileStopped;
        }
    }
    if (statistics.interrupted) {
        return ExitStatus::kFileStopped;
    }
    return statistics.LinesRefused() > 0 ? ExitStatus::kLinesRefused : ExitStatus::kLoaded;
}

// The run ended early: the code of the step it ended in.
int OfFailure(const RunOutcome& outcome) {
    // Also an empty argument, which fails outside the known families.
    if (outcome.stage == RunStage::kReadingCommandLine) {
        return ExitStatus::kUsage;
    }
    if (outcome.unexpectedFailure) {
        return ExitStatus::kInternalError;
    }
    switch (outcome.stage) {
        case RunStage::kStarting:
        case RunStage::kReadingCommandLine:
            return ExitStatus::kInternalError;
        case RunStage::kCheckingOutputs:
            return ExitStatus::kOutputFailed;
        case RunStage::kConnecting:
        case RunStage::kConnected:
            return ExitStatus::kDatabaseUnavailable;
        case RunStage::kLoading:
            break;
    }
    // Whatever stops the scan leaves the rest of the directory for the next run.
    return outcome.auditDirectoryMissing ? ExitStatus::kNoAuditDirectory : ExitStatus::kFileStopped;
}

}  // namespace

int ExitStatus::Of(const RunOutcome& outcome) {
    const int status = outcome.failed ? OfFailure(outcome) : OfStatistics(outcome.statistics);
    const bool outputFailureWins =
        !outcome.failedOutputs.empty() &&
        (status == kLoaded || status == kLinesRefused || status == kFileStopped);
    return outputFailureWins ? kOutputFailed : status;
}

const char* ExitStatus::Meaning(int status) {
    switch (status) {
        case kLoaded:
            return "loaded";
        case kUsage:
            return "usage error";
        case kLinesRefused:
            return "lines refused";
        case kNoAuditDirectory:
            return "no audit directory";
        case kDatabaseUnavailable:
            return "database unavailable";
        case kFileStopped:
            return "file stopped";
        case kOutputFailed:
            return "output not written";
        default:
            return "internal error";
    }
}
