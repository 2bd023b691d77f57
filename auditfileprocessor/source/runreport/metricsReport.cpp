#include "metricsReport.h"

#include <cstdlib>

#include "exitStatus.h"

const char MetricsReport::kPrefix[] = "qxesauditfileprocessor_";

namespace {

// A label value with its backslashes, quotes and line ends escaped.
std::string LabelValue(const std::string& text) {
    std::string escaped;
    for (char c : text) {
        escaped += c == '\\' ? "\\\\" : c == '"' ? "\\\"" : c == '\n' ? "\\n" : std::string(1, c);
    }
    return escaped;
}

void AddFamily(std::string& text, const std::string& name, const std::string& help) {
    text += std::string("# HELP ") + MetricsReport::kPrefix + name + " " + help + "\n" + "# TYPE " +
            MetricsReport::kPrefix + name + " gauge\n";
}

void AddSample(std::string& text, const std::string& name, const std::string& labels,
               const std::string& value) {
    text += MetricsReport::kPrefix + name + (labels.empty() ? "" : "{" + labels + "}") + " " +
            value + "\n";
}

void AddGauge(std::string& text, const std::string& name, const std::string& help,
              const std::string& value) {
    AddFamily(text, name, help);
    AddSample(text, name, "", value);
}

const char kLastSuccess[] = "last_success_timestamp_seconds";

// The time of the last successful run in an earlier metrics text; 0 when none.
int64_t LastSuccessIn(const std::string& text) {
    const std::string name = std::string(MetricsReport::kPrefix) + kLastSuccess + " ";
    for (std::string::size_type at = text.find(name); at != std::string::npos;
         at = text.find(name, at + 1)) {
        if (at == 0 || text[at - 1] == '\n') {
            return std::strtoll(text.c_str() + at + name.size(), nullptr, 10);
        }
    }
    return 0;
}

}  // namespace

MetricsReport::MetricsReport(const RunOutcome& outcome, const std::string& version, int status,
                             const std::string& previousText)
    : m_outcome(outcome),
      m_version(version),
      m_status(status),
      m_lastSuccess(ExitStatus::LoadedToTheEnd(status) ? RunOutcome::EpochSeconds(outcome.endTime)
                                                       : LastSuccessIn(previousText)) {}

std::string MetricsReport::Text() const {
    const RunStatistics& statistics = m_outcome.statistics;
    std::string text;
    AddFamily(text, "info", "The loader's version.");
    AddSample(text, "info", "version=\"" + LabelValue(m_version) + "\"", "1");
    AddGauge(text, "last_run_start_timestamp_seconds", "When the last run started.",
             std::to_string(RunOutcome::EpochSeconds(m_outcome.startTime)));
    AddGauge(text, "last_run_end_timestamp_seconds", "When the last run ended.",
             std::to_string(RunOutcome::EpochSeconds(m_outcome.endTime)));
    AddGauge(text, "last_run_duration_seconds", "How long the last run took.",
             m_outcome.ElapsedSecondsText());
    AddGauge(text, "last_run_status",
             "The last run's result as its detailed exit status: 0 loaded, 64 usage, 65 lines "
             "refused, 66 no audit directory, 69 database unavailable, 70 internal, 73 output not "
             "written, 75 stopped.",
             std::to_string(m_status));
    AddGauge(text, kLastSuccess,
             "When the last run that loaded its audit directory to the end (detailed status 0 "
             "or 65) ended; 0 when none did.",
             std::to_string(m_lastSuccess));
    AddGauge(text, "audit_files_waiting",
             "Audit files left in the audit directory after the last run.",
             std::to_string(m_outcome.filesInDirectory));
    AddGauge(text, "oldest_audit_file_age_seconds",
             "Age of the oldest audit file left in the audit directory after the last run.",
             std::to_string(m_outcome.oldestFileAgeSeconds));
    AddGauge(text, "last_run_connected", "1 when the last run reached the database.",
             m_outcome.Connected() ? "1" : "0");
    AddGauge(text, "last_run_interrupted", "1 when a signal ended the last run early.",
             statistics.interrupted ? "1" : "0");
    AddFamily(text, "last_run_files", "Audit files of the last run by outcome.");
    for (FileOutcome outcome : {FileOutcome::kLoaded, FileOutcome::kSetAside, FileOutcome::kSkipped,
                                FileOutcome::kStopped, FileOutcome::kPutBack,
                                FileOutcome::kStillWritten, FileOutcome::kWaiting}) {
        std::string name = FileOutcomeText(outcome);
        for (char& c : name) {
            c = c == ' ' ? '_' : c;
        }
        AddSample(text, "last_run_files", "outcome=\"" + name + "\"",
                  std::to_string(statistics.Count(outcome)));
    }
    AddGauge(text, "last_run_lines_read", "Audit lines read by the last run.",
             std::to_string(statistics.LinesRead()));
    AddGauge(text, "last_run_lines_refused", "Audit lines the last run refused.",
             std::to_string(statistics.LinesRefused()));
    AddGauge(text, "last_run_rows_written", "Rows the last run inserted or updated.",
             std::to_string(statistics.RowsWritten()));
    return text;
}
