// The load of one audit file: header and version line, the lines in batches
// of one transaction each, the skipping of lines an interrupted run already
// loaded, and the resume number written into the name when loading stops.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "auditSupport.h"
#include "cppWebException.h"
#include "fileTools.h"
#include "krlAssertError.h"
#include "messenger.h"
#include "parser.h"
#include "processingLocale.h"
#include "sqldbapi.h"

namespace {

struct StreamCloser {
    void operator()(FILE* stream) const { std::fclose(stream); }
};
using AuditStream = std::unique_ptr<FILE, StreamCloser>;

// The line in the buffer as an administrator reads it in a message.
std::string LineForMessage(const char* buffer) {
    std::string text(buffer);
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

// Why loading stopped, in the exception's own words.
std::string CauseOf(const std::exception_ptr& caught) {
    try {
        std::rethrow_exception(caught);
    } catch (const CPPWebException& error) {
        return error.getErrorCodeMessage().empty() ? error.what() : error.getErrorCodeMessage();
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "unknown exception";
    }
}

}  // namespace

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

void Parser::AddLineToAuditFilename(const std::string& path, unsigned long line) const {
    constexpr auto string_npos = std::string::npos;
    const std::string::size_type pos = ExtensionDotOf(path);
    KRL_ASSERT(string_npos != pos, "auditfileprocessor/source/parser", 1353);
    if (ResumeNumberOf(path) == line) {
        return;
    }
    // Any earlier number stays in the name; the last one is the one read back.
    const std::string resumeName = path.substr(0, pos) + "." + std::to_string(line) + kAuditFileExt;
    if (std::rename(path.c_str(), resumeName.c_str()) != 0) {
        Messenger::Get().DisplayMessage(21, path);
    }
}

void Parser::Parse(const std::string& path) {
    Messenger& messenger = Messenger::Get();
    lineState = kLineNone;
    AuditStream stream(FileTools::_fopen(path, "r"));
    if (!stream) {
        messenger.DisplayMessage(23, path);
        fileDisposable = false;
        return;
    }
    FILE* const in = stream.get();
    if (std::feof(in)) {
        stream.reset();
        messenger.DisplayMessage(24, path);
        fileDisposable = false;
        return;
    }
    processingLocale.clear();
    GetProcessingLocaleSettings(processingLocale);

    std::vector<char> buffer(kLineBufferSize, '\0');
    char* const line = buffer.data();
    const int lineSize = static_cast<int>(kLineBufferSize);
    if (std::fgets(line, lineSize, in) == nullptr) {
        stream.reset();
        messenger.DisplayMessage(24, path);
        fileDisposable = false;
        return;
    }
    lineNumber = 1;
    currentFile = path;
    // Exact, newline included: a foreign file is set aside as done, never retried.
    if (std::strcmp(line, AuditSupport::kAuditFileHeader) != 0) {
        stream.reset();
        messenger.DisplayMessage(28, path);
        fileDisposable = true;
        return;
    }

    constexpr auto string_npos = std::string::npos;
    const std::string::size_type pos = ExtensionDotOf(path);
    KRL_ASSERT(string_npos != pos, "auditfileprocessor/source/parser", 224);
    const uint32_t resume = ResumeNumberOf(path);
    resumeReached = resume == 0;

    if (std::fgets(line, lineSize, in) == nullptr) {
        stream.reset();
        messenger.DisplayMessage(24, path);
        fileDisposable = false;
        return;
    }
    std::string text(line);
    std::vector<std::string> fields;
    TokenizeLine(fields, text);
    if (!ParseVersion(fields)) {
        stream.reset();
        fileDisposable = false;
        return;
    }

    // No commit every N lines when N is 0: the file is then one transaction.
    const uint32_t rowCount =
        options.transactionRowCount > 0 ? static_cast<uint32_t>(options.transactionRowCount) : 0;
    // Where the open transaction began: the resume number if it is rolled back.
    uint32_t txStartLine = 0;
    try {
        for (;;) {
            // Line `resume` began the batch that was rolled back: it and every
            // line after it are written, each exactly once.
            if (!resumeReached && lineNumber >= resume) {
                resumeReached = true;
            }
            if (std::feof(in)) {
                break;
            }
            if (!db->isTransactionOpen()) {
                db->startTransaction();
                txStartLine = lineNumber;
                continue;
            }
            if (!ParseLine(fields)) {
                messenger.DisplayMessage(26, LineForMessage(line), path);
                if (std::fgets(line, lineSize, in) == nullptr && !std::feof(in)) {
                    messenger.DisplayMessage(25, path);
                    fileDisposable = true;
                    break;
                }
            } else {
                if (!resumeReached) {
                    // Lines 4 to resume - 2 only rebuild context nobody needs:
                    // they are skipped unread. Unsigned, as the counts are.
                    const uint32_t skipTo = resume - 2;
                    if (lineNumber > 2 && lineNumber < skipTo) {
                        while (lineNumber < skipTo) {
                            if (std::fgets(line, lineSize, in) == nullptr) {
                                KRL_ASSERT(FALSE, "auditfileprocessor/source/parser", 282);
                            }
                            ++lineNumber;
                        }
                    }
                    if (lineNumber == resume) {
                        resumeReached = true;
                    }
                }
                if (std::fgets(line, lineSize, in) == nullptr && !std::feof(in)) {
                    messenger.DisplayMessage(25, path);
                    fileDisposable = true;
                    break;
                }
            }
            // A last line without a newline sets end of file as it is read: it
            // is committed with its batch but never handled.
            text.assign(line);
            TokenizeLine(fields, text);
            ++lineNumber;
            if (!std::feof(in) && (rowCount == 0 || lineNumber % rowCount != 0)) {
                continue;
            }
            if (db->isTransactionOpen()) {
                db->commit(1);
            }
        }
        // Open only when a read error ended the loop. Its failure is handled as
        // any other, so that the batch keeps its resume number.
        if (db->isTransactionOpen()) {
            db->commit(1);
        }
    } catch (...) {
        const std::string cause = CauseOf(std::current_exception());
        messenger.DisplayMessage(27, LineForMessage(line), path);
        messenger.DisplayMessage(47, cause);
        if (db->isTransactionOpen()) {
            // A failing rollback must not keep the resume number out of the
            // name; the session drops the work when it disconnects anyway.
            try {
                db->commit(0);
            } catch (...) {
            }
        }
        stream.reset();
        AddLineToAuditFilename(path, txStartLine);
        throw CPPWebException(2, 1, {"parser", 329, "Parser::Parse", "KRL_THROW"});
    }
    stream.reset();
}
