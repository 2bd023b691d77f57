// What one run did, file by file: filled in by the Parser as it loads, read
// at the end of the run for the summary message, the exit status and the run
// reports.
//   const RunStatistics& statistics = parser.Statistics();
//   if (statistics.linesRefused > 0) { /* some lines were not loaded */ }
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// What became of one audit file in this run.
enum class FileOutcome {
    kLoaded,        // read to its end and set aside as loaded
    kSetAside,      // set aside without loading: not an audit file, bad version line
    kSkipped,       // not a regular file: left alone, never read
    kStopped,       // stopped on an error (keeps its resume point), or not claimable or readable
    kPutBack,       // interrupted by a signal: put back to continue later
    kStillWritten,  // changed within the settle time: loaded so far, put back to continue later
    kWaiting,       // not taken: an earlier file of its directory could not be read
};

// "loaded", "set aside", "skipped", "stopped", "put back".
const char* FileOutcomeText(FileOutcome outcome);

struct FileStatistics {
    explicit FileStatistics(std::string filePath, FileOutcome fileOutcome = FileOutcome::kLoaded)
        : path(std::move(filePath)), outcome(fileOutcome) {}

    std::string path;
    FileOutcome outcome = FileOutcome::kLoaded;
    uint64_t linesRead = 0;     // lines handled with writing on, in this run
    uint64_t linesRefused = 0;  // of those, refused with AFP-0026
    uint64_t rowsWritten = 0;   // rows inserted or updated in committed batches
    // The file's name once the run was done with it: renamedTo when it was
    // renamed (".___", a resume number), empty when it kept its name.
    std::string renamedTo;
};

struct RunStatistics {
    std::vector<FileStatistics> files;  // in the order they were taken
    bool interrupted = false;           // a signal ended the run early

    unsigned Count(FileOutcome outcome) const;
    uint64_t LinesRead() const;
    uint64_t LinesRefused() const;
    uint64_t RowsWritten() const;
};
