#include "runReport.h"

#include <cmath>

#include <nlohmann/json.hpp>

#include "exitStatus.h"

RunReport::RunReport(const RunOutcome& outcome, const std::string& version, int status,
                     int exitStatus)
    : m_outcome(outcome), m_version(version), m_status(status), m_exitStatus(exitStatus) {}

std::string RunReport::Json() const {
    const RunStatistics& statistics = m_outcome.statistics;
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    for (const FileStatistics& file : statistics.files) {
        files.push_back({{"path", file.path},
                         {"pathAfter", file.renamedTo.empty() ? file.path : file.renamedTo},
                         {"outcome", FileOutcomeText(file.outcome)},
                         {"linesRead", file.linesRead},
                         {"linesRefused", file.linesRefused},
                         {"rowsWritten", file.rowsWritten}});
    }
    const nlohmann::ordered_json report = {
        {"program", "qxesauditfileprocessor"},
        {"version", m_version},
        {"start", RunOutcome::UtcText(m_outcome.startTime)},
        {"end", RunOutcome::UtcText(m_outcome.endTime)},
        {"elapsedSeconds", std::round(m_outcome.ElapsedSeconds() * 1000) / 1000},
        {"status", m_status},
        {"result", ExitStatus::Meaning(m_status)},
        {"exitStatus", m_exitStatus},
        {"connected", m_outcome.Connected()},
        {"interrupted", statistics.interrupted},
        {"summary",
         {{"filesLoaded", statistics.Count(FileOutcome::kLoaded)},
          {"filesSetAside", statistics.Count(FileOutcome::kSetAside)},
          {"filesStopped",
           statistics.Count(FileOutcome::kStopped) + statistics.Count(FileOutcome::kPutBack)},
          {"filesStillWritten", statistics.Count(FileOutcome::kStillWritten)},
          {"filesWaiting", statistics.Count(FileOutcome::kWaiting)},
          {"filesSkipped", statistics.Count(FileOutcome::kSkipped)},
          {"linesRead", statistics.LinesRead()},
          {"linesRefused", statistics.LinesRefused()},
          {"rowsWritten", statistics.RowsWritten()}}},
        {"files", files},
        {"outputsFailed", m_outcome.failedOutputs},
    };
    // Paths are bytes of the file system: invalid UTF-8 in one must not stop the report.
    return report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
