#include "runOutcome.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>

#include "fileTools.h"
#include "parser.h"

RunOutcome::RunOutcome()
    : startTime(std::chrono::system_clock::now()),
      endTime(startTime),
      startClock(std::chrono::steady_clock::now()),
      endClock(startClock) {}

void RunOutcome::Finish() {
    endTime = std::chrono::system_clock::now();
    endClock = std::chrono::steady_clock::now();
}

double RunOutcome::ElapsedSeconds() const {
    return std::chrono::duration<double>(endClock - startClock).count();
}

std::string RunOutcome::ElapsedSecondsText() const {
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(endClock - startClock).count();
    const std::string fraction = std::to_string(1000 + milliseconds % 1000).substr(1);
    return std::to_string(milliseconds / 1000) + "." + fraction;
}

int64_t RunOutcome::EpochSeconds(std::chrono::system_clock::time_point time) {
    return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
}

std::string RunOutcome::UtcText(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = static_cast<std::time_t>(EpochSeconds(time));
    std::tm parts{};
    char text[32] = "";
    if (::gmtime_r(&seconds, &parts) != nullptr) {
        std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    }
    return text;
}

std::string RunOutcome::LocalText(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = static_cast<std::time_t>(EpochSeconds(time));
    std::tm parts{};
    char text[40] = "";
    if (::localtime_r(&seconds, &parts) == nullptr ||
        std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S%z", &parts) == 0) {
        return UtcText(time);
    }
    // ISO 8601 writes the offset with a colon: +0100 becomes +01:00.
    std::string local = text;
    if (local.size() > 2) {
        local.insert(local.size() - 2, ":");
    }
    return local;
}

void RunOutcome::MeasureBacklog(const std::string& directory) {
    filesInDirectory = 0;
    oldestFileAgeSeconds = 0;
    if (directory.empty() || !FileTools::DirectoryExists(directory)) {
        return;
    }
    const int64_t now = EpochSeconds(std::chrono::system_clock::now());
    for (const std::string& name : Parser::AuditFileNames(directory)) {
        struct stat status;
        const std::string path = FileTools::AddTermToPath(directory, name, FileTools::kPathDelim);
        if (::stat(path.c_str(), &status) != 0) {
            continue;
        }
        ++filesInDirectory;
        oldestFileAgeSeconds =
            std::max(oldestFileAgeSeconds, now - static_cast<int64_t>(status.st_mtime));
    }
}
