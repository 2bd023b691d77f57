#include "runStatistics.h"

const char* FileOutcomeText(FileOutcome outcome) {
    switch (outcome) {
        case FileOutcome::kLoaded:
            return "loaded";
        case FileOutcome::kSetAside:
            return "set aside";
        case FileOutcome::kSkipped:
            return "skipped";
        case FileOutcome::kStopped:
            return "stopped";
        case FileOutcome::kPutBack:
            return "put back";
    }
    return "unknown";
}

unsigned RunStatistics::Count(FileOutcome outcome) const {
    unsigned count = 0;
    for (const FileStatistics& file : files) {
        count += file.outcome == outcome ? 1 : 0;
    }
    return count;
}

uint64_t RunStatistics::LinesRead() const {
    uint64_t total = 0;
    for (const FileStatistics& file : files) {
        total += file.linesRead;
    }
    return total;
}

uint64_t RunStatistics::LinesRefused() const {
    uint64_t total = 0;
    for (const FileStatistics& file : files) {
        total += file.linesRefused;
    }
    return total;
}

uint64_t RunStatistics::RowsWritten() const {
    uint64_t total = 0;
    for (const FileStatistics& file : files) {
        total += file.rowsWritten;
    }
    return total;
}
