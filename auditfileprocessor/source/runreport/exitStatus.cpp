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

}  // namespace

int ExitStatus::Of(const RunOutcome& outcome) {
    if (!outcome.failed) {
        return OfStatistics(outcome.statistics);
    }
    // Also an empty argument, which fails outside the known families.
    if (outcome.stage == RunStage::kReadingCommandLine) {
        return kUsage;
    }
    if (outcome.unexpectedFailure) {
        return kInternalError;
    }
    switch (outcome.stage) {
        case RunStage::kStarting:
        case RunStage::kReadingCommandLine:
            return kInternalError;
        case RunStage::kConnecting:
        case RunStage::kConnected:
            return kDatabaseUnavailable;
        case RunStage::kLoading:
            break;
    }
    // Whatever stops the scan leaves the rest of the directory for the next run.
    return outcome.auditDirectoryMissing ? kNoAuditDirectory : kFileStopped;
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
        default:
            return "internal error";
    }
}
