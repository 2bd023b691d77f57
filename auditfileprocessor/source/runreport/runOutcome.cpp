#include "runOutcome.h"

#include <ctime>

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
