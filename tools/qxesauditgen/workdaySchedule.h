// Spreads generated traffic over the working hours of several days, as a
// server used from an office sees it: bursts at working hours (one an hour
// when the traffic is large enough), each given a share of the lines after
// how busy that hour usually is, weekends quiet. The traffic within a burst
// stays as dense as without a schedule, so that request durations keep their
// size; the generator lets every request end before the clock jumps to the
// next burst.
//   WorkdaySchedule schedule(3, 30000, 80, startSecond);
//   StampClock clock(schedule.firstMillisecond());   // 08:MM:SS of the first day
//   if (schedule.burstDone(linesWritten)) { /* end requests */
//   clock.advanceTo(schedule.nextBurst(random)); }
#pragma once

#include <cstdint>

#include "fastRandom.h"

class WorkdaySchedule {
  public:
    // `days` 0 keeps all traffic in one stretch from `firstSecond`: no burst
    // ever ends. A burst is planned at least `burstLines` lines.
    WorkdaySchedule(uint32_t days, uint64_t plannedLines, uint64_t burstLines, int64_t firstSecond);

    // When the first line is written, in milliseconds since the epoch.
    int64_t firstMillisecond() const;
    // True when the burst in hand has written its share and another follows.
    bool burstDone(uint64_t linesWritten) const {
        return burstsLeft() && linesWritten >= m_burstEnd;
    }
    bool burstsLeft() const { return m_burst + 1 < m_bursts; }
    // Moves on to the next burst; when it begins, in milliseconds since the epoch.
    int64_t nextBurst(FastRandom& random);

  private:
    static constexpr int64_t kFirstHour = 8;
    static constexpr uint64_t kWorkingHours = 10;

    // The working hour of a burst, 0 for the first.
    uint64_t hourOf(uint64_t burst) const;
    // How busy the burst is, against the others.
    uint64_t weight(uint64_t burst) const;
    void endBurstAtItsShare();

    uint64_t m_burstsPerDay = kWorkingHours;
    uint64_t m_bursts;
    uint64_t m_plannedLines;
    int64_t m_firstSecond;
    int64_t m_firstDay;  // the first second of the first day
    uint64_t m_totalWeight = 0;
    uint64_t m_weightSoFar = 0;  // of the bursts up to the one in hand
    uint64_t m_burst = 0;
    uint64_t m_burstEnd = 0;  // the lines written when the burst in hand is done
};
