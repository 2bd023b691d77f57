// Simulates one reporting server writing its audit files: every file opens
// with the version, general and start-up lines, then the lines of several
// concurrently open sessions interleave in the order a server writes them
// (request opened, user and user class, usage, completion or failure; remote
// requests; administration actions; portal publishing). Time stamps grow
// through the files; rolled files are named after their first second. With
// days to spread over, the traffic comes in bursts during working hours.
//   AuditDirectoryWriter writer(options.outputDirectory);
//   AuditTrafficGenerator generator(options, "UTC", "Time Zone: GMT + 0:00", writer);
//   generator.run();
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "auditGenOptions.h"
#include "auditLineSink.h"
#include "auditSupport.h"
#include "fastRandom.h"
#include "stampClock.h"
#include "workdaySchedule.h"

class AuditTrafficGenerator {
  public:
    AuditTrafficGenerator(const AuditGenOptions& options, std::string timeZone,
                          std::string differenceFromGMT, AuditLineSink& sink);

    // Writes all rolled files, then the live file when asked for.
    void run();

    // Seconds since the epoch of the first line for `seed`.
    static int64_t startSecond(uint64_t seed);
    // Lines written so far, over all files.
    uint64_t linesWritten() const { return m_linesWritten; }

  private:
    // What a request writes next.
    enum class Step : uint8_t {
        kRequestInfo,
        kUser,
        kUserClass,
        kUsageInfo,
        kUsageCodes,
        kUsageNames,
        kUsageData,
        kRedispatch,
        kSuccess,
        kRequestFailed,
        kResultFailed,
        kRemote,
        kRemoteSuccess,
        kAdmin,
        kPublishBegin,
        kPublishSuccess,
        kPublishFailed,
    };
    static constexpr int kMaxSteps = 12;

    struct Session {
        std::string id;
        uint32_t nextRequest = 1;
        uint32_t requestsLeft = 0;
        bool userWritten = false;
        uint32_t user = 0;
        bool busy = false;
        // The request in hand.
        std::string requestId;
        // Generation of the file the request began in.
        uint32_t requestFile = 0;
        uint32_t source = 0;
        Step steps[kMaxSteps] = {};
        uint8_t stepCount = 0;
        uint8_t stepIndex = 0;
        std::string usageCodes;
        std::string usageNames;
        std::string usageData;
    };

    // `last`: the final file of the run.
    void writeFile(bool rolled, bool drainAtEnd, bool last);
    // Gives every idle session a request.
    void wakeSessions();
    // Lets every open request end, then moves the clock to the next burst.
    void pauseUntilNextBurst();
    void drain();
    void writeStartLines();
    void tick();
    // Finishes the requests that began in an earlier file, so that no request
    // spans more than two files.
    void finishCarriedRequests();
    void startSession(Session& session);
    void startRequest(Session& session);
    void nextRequest(Session& session);
    // Writes the session's next line; true when that finished its request.
    bool writeStep(Session& session);
    void buildUsage(Session& session);
    void write(AuditSupport::TypeCode type, std::string_view sessionId, std::string_view requestId,
               AuditSupport::ComponentCode component, AuditSupport::FormatCode format,
               std::string_view message);
    template <size_t N>
    const char* pick(const char* const (&choices)[N]) {
        return choices[m_random.below(N)];
    }

    AuditGenOptions m_options;
    std::string m_timeZone;
    std::string m_differenceFromGMT;
    AuditLineSink& m_sink;
    FastRandom m_random;
    WorkdaySchedule m_schedule;
    StampClock m_clock;
    int64_t m_lastFileSecond;
    uint32_t m_generation = 0;
    uint64_t m_sessionCounter = 0;
    uint64_t m_orphanCounter = 0;
    uint64_t m_linesWritten = 0;
    uint64_t m_linesInFile = 0;
    bool m_draining = false;
    std::string m_machine;
    std::string m_message;
    std::vector<Session> m_sessions;
    // Indexes of the sessions with a request in hand.
    std::vector<uint32_t> m_busy;
};
