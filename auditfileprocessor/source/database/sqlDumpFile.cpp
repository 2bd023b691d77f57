#include "sqlDumpFile.h"

#include <stdio_ext.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "failedOutputs.h"
#include "programGlobals.h"

namespace {

const char kKind[] = "SQL dump";

std::string g_path;
SqlDumpFile::FailureHandler g_onFailure = nullptr;

void Report(int error) {
    FailedOutputs::Record(kKind, g_path);
    if (g_onFailure != nullptr) {
        g_onFailure(g_path, std::strerror(error));
    }
}

void Fail(int error) {
    FILE* stream = std::exchange(g_SQLDumpFile, nullptr);
    __fpurge(stream);
    std::fclose(stream);
    Report(error);
}

}  // namespace

void SqlDumpFile::Start(FILE* stream, const std::string& path, FailureHandler onFailure) {
    g_SQLDumpFile = stream;
    g_path = path;
    g_onFailure = onFailure;
}

void SqlDumpFile::Write(const std::string& text) {
    if (g_SQLDumpFile != nullptr &&
        std::fwrite(text.data(), 1, text.size(), g_SQLDumpFile) != text.size()) {
        Fail(errno);
    }
}

void SqlDumpFile::WriteStatement(const std::string& statement) {
    if (g_SQLDumpFile != nullptr && std::fputc('\n', g_SQLDumpFile) == EOF) {
        Fail(errno);
    }
    Write(statement);
}

void SqlDumpFile::Flush() {
    if (g_SQLDumpFile != nullptr && std::fflush(g_SQLDumpFile) != 0) {
        Fail(errno);
    }
}

void SqlDumpFile::Close() {
    Flush();
    // The stream is gone after fclose whatever it returns; a failure is only told.
    if (g_SQLDumpFile != nullptr && std::fclose(std::exchange(g_SQLDumpFile, nullptr)) != 0) {
        Report(errno);
    }
}
