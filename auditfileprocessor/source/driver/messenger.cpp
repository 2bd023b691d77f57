#include "messenger.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "failedOutputs.h"
#include "noFollowFile.h"
#include "oneLine.h"
#include "qxMessage.h"

std::string Messenger::m_sErrorLogFileName;
FILE* Messenger::m_fpErrorLogFile = nullptr;
std::string Messenger::m_sAuditLogFileName;
bool Messenger::m_isParsingNewLog = false;
std::string Messenger::m_sRefusedErrorLogFileName;
bool Messenger::m_errorLogWriteFailed = false;
bool Messenger::m_standardOutputFailed = false;

namespace {

const char kErrorLog[] = "error log";
const char kStandardOutput[] = "standard output";

// Writes and flushes at once, so that the output is complete if the run dies.
// False with the system's reason when the text did not reach the file.
bool WriteOut(FILE* stream, const std::string& text, int& error) {
    if (std::fwrite(text.data(), 1, text.size(), stream) == text.size() &&
        std::fflush(stream) == 0) {
        return true;
    }
    error = errno;
    return false;
}

// Where a failed output is told when messages cannot be: nothing is left to
// report a failure of standard error itself.
void ReportOnStandardError(const std::string& text) {
    std::fprintf(stderr, "%s\n", text.c_str());
    std::fflush(stderr);
}

// Without a catalogue a message still shows its identifier and its inserts.
std::string FallbackText(int number, size_t insertCount) {
    char identifier[32];
    std::snprintf(identifier, sizeof(identifier), "AFP-%04d:", number);
    std::string text = identifier;
    for (size_t i = 0; i < insertCount; ++i) {
        text += " %" + std::to_string(i);
    }
    return text;
}

}  // namespace

std::string Messenger::Compose(int number, const std::vector<std::string>& inserts) {
    std::string text;
    if (!QXMessage::GetMessage(text, number)) {
        text = FallbackText(number, inserts.size());
    }
    // Only the inserts: a catalogue text may span lines on purpose (the usage).
    std::vector<std::string> escaped;
    escaped.reserve(inserts.size());
    for (const std::string& insert : inserts) {
        escaped.push_back(OneLine::Escaped(insert));
    }
    SubstituteStrings(text, escaped);
    return text;
}

Messenger& Messenger::Get() {
    static Messenger instance;
    return instance;
}

void GetMessage(int number, std::string& text) {
    if (!QXMessage::GetMessage(text, number)) {
        text = FallbackText(number, 0);
    }
}

void SubstituteStrings(std::string& text, const std::vector<std::string>& inserts) {
    for (size_t i = 0; i < inserts.size(); ++i) {
        const std::string placeholder = "%" + std::to_string(i);
        const size_t position = text.find(placeholder);
        if (position != std::string::npos) {
            text.replace(position, placeholder.size(), inserts[i]);
        }
    }
}

void Messenger::OpenErrorLog() {
    if (m_fpErrorLogFile != nullptr || m_sErrorLogFileName.empty() ||
        m_sErrorLogFileName == m_sRefusedErrorLogFileName) {
        return;
    }
    std::string reason;
    bool isLink = false;
    m_fpErrorLogFile = NoFollowFile::Open(m_sErrorLogFileName, NoFollowFile::kAppend,
                                          NoFollowFile::kGroupMayRead, reason, isLink);
    if (m_fpErrorLogFile != nullptr) {
        m_errorLogWriteFailed = false;
        return;
    }
    // Remembered first: the refusal itself then goes to standard output.
    m_sRefusedErrorLogFileName = m_sErrorLogFileName;
    FailedOutputs::Record(kErrorLog, m_sErrorLogFileName);
    if (isLink) {
        Show(55, {m_sErrorLogFileName, kErrorLog});
    } else {
        Show(65, {m_sErrorLogFileName, reason});
    }
}

void Messenger::WriteToErrorLog(const std::string& text) {
    std::string lines;
    if (m_isParsingNewLog && !m_sAuditLogFileName.empty()) {
        lines = "***********************************************\n* " +
                OneLine::Escaped(m_sAuditLogFileName) + "\n";
    }
    m_isParsingNewLog = false;
    int error = 0;
    if (!WriteOut(m_fpErrorLogFile, lines + text + "\n", error) && !m_errorLogWriteFailed) {
        m_errorLogWriteFailed = true;
        FailedOutputs::Record(kErrorLog, m_sErrorLogFileName);
        ReportOnStandardError(Compose(54, {m_sErrorLogFileName, std::strerror(error)}));
    }
}

void Messenger::DisplayMessage(const std::string& message) {
    Emit(OneLine::Escaped(message));
}

void Messenger::Emit(const std::string& text) {
    OpenErrorLog();
    if (m_fpErrorLogFile != nullptr) {
        WriteToErrorLog(text);
        return;
    }
    int error = 0;
    if (!WriteOut(stdout, text + "\n", error) && !m_standardOutputFailed) {
        m_standardOutputFailed = true;
        FailedOutputs::Record(kStandardOutput, "");
        ReportOnStandardError(Compose(69, {std::strerror(error)}));
    }
}

void Messenger::DisplayMessage(int number) {
    Show(number, {});
}

void Messenger::DisplayMessage(int number, const std::string& insert0) {
    Show(number, {insert0});
}

void Messenger::DisplayMessage(int number, const std::string& insert0, const std::string& insert1) {
    Show(number, {insert0, insert1});
}

void Messenger::DisplayMessageWithInserts(int number, const std::vector<std::string>& inserts) {
    Show(number, inserts);
}

void Messenger::Show(int number, const std::vector<std::string>& inserts) {
    Emit(Compose(number, inserts));
}
