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
        case FileOutcome::kStillWritten:
            return "still written";
        case FileOutcome::kWaiting:
            return "waiting";
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

namespace {

uint64_t Total(const std::vector<FileStatistics>& files, uint64_t FileStatistics::*figure) {
    uint64_t total = 0;
    for (const FileStatistics& file : files) {
        total += file.*figure;
    }
    return total;
}

}  // namespace

uint64_t RunStatistics::LinesRead() const {
    return Total(files, &FileStatistics::linesRead);
}

uint64_t RunStatistics::LinesRefused() const {
    return Total(files, &FileStatistics::linesRefused);
}

uint64_t RunStatistics::RowsWritten() const {
    return Total(files, &FileStatistics::rowsWritten);
}
