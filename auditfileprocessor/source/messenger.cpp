#include "messenger.h"

#include <cstdio>

#include "fileTools.h"
#include "qxMessage.h"

std::string Messenger::m_sErrorLogFileName;
FILE* Messenger::m_fpErrorLogFile = nullptr;
std::string Messenger::m_sAuditLogFileName;
bool Messenger::m_isParsingNewLog = false;

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

void Messenger::DisplayMessage(const std::string& text) {
    if (m_fpErrorLogFile == nullptr && !m_sErrorLogFileName.empty()) {
        m_fpErrorLogFile = FileTools::_fopen(m_sErrorLogFileName, "a+");
    }
    if (m_fpErrorLogFile == nullptr) {
        std::puts(text.c_str());
        std::fflush(stdout);
        return;
    }
    if (m_isParsingNewLog && !m_sAuditLogFileName.empty()) {
        const std::string banner =
            "***********************************************\n* " + m_sAuditLogFileName;
        std::fprintf(m_fpErrorLogFile, "%s\n", banner.c_str());
        std::fflush(m_fpErrorLogFile);
    }
    std::fprintf(m_fpErrorLogFile, "%s\n", text.c_str());
    std::fflush(m_fpErrorLogFile);
    m_isParsingNewLog = false;
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
    std::string text;
    if (!QXMessage::GetMessage(text, number)) {
        text = FallbackText(number, inserts.size());
    }
    SubstituteStrings(text, inserts);
    DisplayMessage(text);
}
