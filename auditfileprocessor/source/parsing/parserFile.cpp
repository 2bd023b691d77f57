// The load of one audit file, and how its name says where a later run
// resumes it.
#include <cstdint>
#include <cstdio>
#include <string>

#include "auditFileLoad.h"
#include "krlAssertError.h"
#include "messenger.h"
#include "parser.h"

std::string::size_type Parser::ExtensionDotOf(const std::string& path) {
    const std::string::size_type slash = path.rfind('/');
    const std::string::size_type nameStart = slash == std::string::npos ? 0 : slash + 1;
    const std::string::size_type dot = path.rfind('.');
    if (dot == std::string::npos || dot < nameStart) {
        return std::string::npos;
    }
    return dot;
}

uint32_t Parser::ResumeNumberOf(const std::string& path) {
    const std::string::size_type dot = ExtensionDotOf(path);
    if (dot == std::string::npos || dot == 0) {
        return 0;
    }
    const std::string::size_type slash = path.rfind('/');
    const std::string::size_type nameStart = slash == std::string::npos ? 0 : slash + 1;
    const std::string::size_type numberDot = path.rfind('.', dot - 1);
    if (numberDot == std::string::npos || numberDot < nameStart || numberDot + 1 == dot) {
        return 0;
    }
    uint64_t value = 0;
    for (std::string::size_type i = numberDot + 1; i < dot; ++i) {
        const char c = path[i];
        if (c < '0' || c > '9') {
            return 0;
        }
        value = value * 10 + static_cast<uint64_t>(c - '0');
        if (value > UINT32_MAX) {
            return 0;
        }
    }
    return static_cast<uint32_t>(value);
}

std::string Parser::ResumeNameOf(const std::string& path, unsigned long line) {
    // Any earlier number stays in the name; the last one is the one read back.
    return path.substr(0, ExtensionDotOf(path)) + "." + std::to_string(line) + kAuditFileExt;
}

void Parser::AddLineToAuditFilename(const std::string& path, unsigned long line) const {
    constexpr auto string_npos = std::string::npos;
    const std::string::size_type pos = ExtensionDotOf(path);
    KRL_ASSERT(string_npos != pos, "auditfileprocessor/source/parser", 1353);
    if (ResumeNumberOf(path) == line) {
        return;
    }
    const std::string resumeName = ResumeNameOf(path, line);
    if (std::rename(path.c_str(), resumeName.c_str()) != 0) {
        Messenger::Get().DisplayMessage(21, path);
    }
}

void Parser::Parse(const std::string& path) {
    AuditFileLoad load(*this, path);
    m_setAsideAfterLoad = load.Run() == AuditFileLoad::End::kSetAside;
}
