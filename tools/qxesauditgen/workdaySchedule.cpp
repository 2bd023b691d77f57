#include "workdaySchedule.h"

#include <algorithm>

namespace {

// How busy each working hour is, from 08:00 to 17:00: a morning peak, a
// lunch dip, an afternoon peak.
const uint64_t kHourWeights[] = {4, 8, 10, 9, 6, 5, 8, 9, 7, 4};
// A working day against a day of the weekend.
const uint64_t kWorkingDayWeight = 4;

const int64_t kSecondsPerDay = 86400;

}  // namespace

WorkdaySchedule::WorkdaySchedule(uint32_t days, uint64_t plannedLines, uint64_t burstLines,
                                 int64_t firstSecond)
    : m_plannedLines(plannedLines),
      m_firstSecond(firstSecond),
      m_firstDay(firstSecond - firstSecond % kSecondsPerDay) {
    // Every burst ends with its requests, which costs lines: thin traffic
    // comes in fewer bursts a day rather than in bursts of nothing else.
    if (days > 0) {
        m_burstsPerDay = std::clamp<uint64_t>(
            plannedLines / days / std::max<uint64_t>(burstLines, 1), 1, kWorkingHours);
    }
    m_bursts = uint64_t{days} * m_burstsPerDay;
    for (uint64_t burst = 0; burst < m_bursts; ++burst) {
        m_totalWeight += weight(burst);
    }
    if (m_bursts > 0) {
        endBurstAtItsShare();
    }
}

int64_t WorkdaySchedule::firstMillisecond() const {
    if (m_bursts == 0) {
        return m_firstSecond * 1000;
    }
    // The first working hour of the same day, at the same minute and second.
    return (m_firstDay + kFirstHour * 3600 + m_firstSecond % 3600) * 1000;
}

uint64_t WorkdaySchedule::hourOf(uint64_t burst) const {
    return burst % m_burstsPerDay * kWorkingHours / m_burstsPerDay;
}

uint64_t WorkdaySchedule::weight(uint64_t burst) const {
    const int64_t day = m_firstDay / kSecondsPerDay + static_cast<int64_t>(burst / m_burstsPerDay);
    // The epoch fell on a Thursday: 2 and 3 are Saturday and Sunday.
    const bool weekend = day % 7 == 2 || day % 7 == 3;
    return kHourWeights[hourOf(burst)] * (weekend ? 1 : kWorkingDayWeight);
}

void WorkdaySchedule::endBurstAtItsShare() {
    m_weightSoFar += weight(m_burst);
    // In floating point: lines times weight may pass 64 bits.
    m_burstEnd = static_cast<uint64_t>(static_cast<double>(m_plannedLines) *
                                       static_cast<double>(m_weightSoFar) /
                                       static_cast<double>(m_totalWeight));
}

int64_t WorkdaySchedule::nextBurst(FastRandom& random) {
    ++m_burst;
    endBurstAtItsShare();
    const int64_t day =
        m_firstDay + static_cast<int64_t>(m_burst / m_burstsPerDay) * kSecondsPerDay;
    const int64_t hour = kFirstHour + static_cast<int64_t>(hourOf(m_burst));
    // Somewhere in the first three quarters of the hour, so that it stays that hour.
    return (day + hour * 3600 + random.below(2700)) * 1000 + random.below(1000);
}
