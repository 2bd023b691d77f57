#include "messenger.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "noFollowFile.h"
#include "qxMessage.h"

std::string Messenger::m_sErrorLogFileName;
FILE* Messenger::m_fpErrorLogFile = nullptr;
std::string Messenger::m_sAuditLogFileName;
bool Messenger::m_isParsingNewLog = false;
std::string Messenger::m_sRefusedErrorLogFileName;
bool Messenger::m_errorLogWriteFailed = false;

namespace {

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
    SubstituteStrings(text, inserts);
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
    bool isLink = false;
    m_fpErrorLogFile = NoFollowFile::Open(m_sErrorLogFileName, O_APPEND, 0666, "a", isLink);
    if (m_fpErrorLogFile != nullptr) {
        m_errorLogWriteFailed = false;
    } else if (isLink) {
        // Remembered first: the refusal itself then goes to standard output.
        m_sRefusedErrorLogFileName = m_sErrorLogFileName;
        Show(55, {m_sErrorLogFileName, "error log"});
    }
}

void Messenger::WriteToErrorLog(const std::string& text) {
    std::string lines;
    if (m_isParsingNewLog && !m_sAuditLogFileName.empty()) {
        lines = "***********************************************\n* " + m_sAuditLogFileName + "\n";
    }
    lines += text + "\n";
    // Flushed at once, so that the log is complete if the run dies.
    const bool written = std::fputs(lines.c_str(), m_fpErrorLogFile) >= 0;
    const int writeError = errno;
    if ((!written || std::fflush(m_fpErrorLogFile) != 0) && !m_errorLogWriteFailed) {
        m_errorLogWriteFailed = true;
        const std::string report =
            Compose(54, {m_sErrorLogFileName, std::strerror(written ? errno : writeError)});
        std::fprintf(stderr, "%s\n", report.c_str());
        std::fflush(stderr);
    }
    m_isParsingNewLog = false;
}

void Messenger::DisplayMessage(const std::string& message) {
    // An audit line may hold NUL bytes; written as they are they would cut the
    // message short, so they are shown as \0.
    std::string text = message;
    for (std::string::size_type at = text.find('\0'); at != std::string::npos;
         at = text.find('\0', at + 2)) {
        text.replace(at, 1, "\\0");
    }
    OpenErrorLog();
    if (m_fpErrorLogFile == nullptr) {
        std::puts(text.c_str());
        std::fflush(stdout);
        return;
    }
    WriteToErrorLog(text);
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
    DisplayMessage(Compose(number, inserts));
}
