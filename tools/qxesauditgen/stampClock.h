// The simulated clock of a generated server: milliseconds since the epoch,
// rendered as audit time stamps in UTC without asking the C library, so that
// stamps cost a few byte writes per line.
//   StampClock clock(1299258309000);      // 2011-03-04 17:05:09.000
//   clock.advance(42);
//   clock.text();                         // "2011-03-04:17:05:09.042"
//   clock.fileStamp();                    // "2011-03-04-17-05-09"
#pragma once

#include <cstdint>
#include <string>

class StampClock {
  public:
    explicit StampClock(int64_t startMilliseconds);

    void advance(uint32_t milliseconds) { m_milliseconds += milliseconds; }
    // Moves on to `milliseconds`, never back.
    void advanceTo(int64_t milliseconds) {
        m_milliseconds = milliseconds > m_milliseconds ? milliseconds : m_milliseconds;
    }
    // Moves to the start of the next whole second.
    void advanceToNextSecond();
    int64_t seconds() const { return floorDiv(m_milliseconds, 1000); }
    int64_t milliseconds() const { return m_milliseconds; }

    // "%Y-%m-%d:%H:%M:%S" and ".%03u" of the current moment.
    const std::string& text();
    // The moment's second as rolled audit files name it: "%Y-%m-%d-%H-%M-%S".
    std::string fileStamp() const;

  private:
    static int64_t floorDiv(int64_t value, int64_t divisor);
    // Writes "YYYY-MM-DD?HH?MM?SS" for `second` with the given separators.
    static void formatSecond(int64_t second, char dateTimeSeparator, char timeSeparator,
                             char* target);

    int64_t m_milliseconds;
    int64_t m_renderedSecond;
    std::string m_text;
};
