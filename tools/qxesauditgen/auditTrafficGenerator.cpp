#include "auditTrafficGenerator.h"

#include <utility>

using namespace AuditSupport;

namespace {

// 2011-03-04 17:05:09 UTC: the first seed's server starts here; other seeds
// start up to a year later.
const int64_t kBaseSecond = 1299258309;

const char kVersionText[] = "7.4.110.2011";
// Lines a burst of traffic takes at least for each session, so that ending
// its requests before a quiet time stays a small part of it.
const uint32_t kBurstLinesPerSession = 10;
const char kNoSession[] = "0";
const char kNoRequest[] = "0";
// The session identifier of a request that failed before it had a session.
const char kOrphanSession[] = "-";

struct DataSource {
    const char* name;
    const char* type;
};

const DataSource kSources[] = {
    {"Sales2011", "cube"},  {"GreatOutdoors", "package"}, {"Inventory", "cube"},
    {"Budget_Plan", "mdc"}, {"Headcount", "cube"},        {"Marketing Mix", "package"},
    {"Finance_Q1", "mdc"},  {"Logistics", "cube"},
};

const char* const kMirrors[] = {"", "", "mirror1.example.net:8011",
                                "mirror2.example.net:8011;mirror3.example.net:8012"};
const char* const kRequestFlags[] = {"0", "1", "reportview"};

// User names as the server writes them: characters outside ASCII as numeric
// character references, quotes as they are.
const char* const kUsers[] = {"jsmith",
                              "M&#252;ller",
                              "Jos&#233; Garc&#237;a",
                              "O'Brien",
                              "&#x20ac;uro Desk",
                              "Ng",
                              "Anne-Marie Dubois",
                              "Bj&#246;rk Sigur&#240;ard&#243;ttir"};
const char* const kUserClasses[] = {"Analysts", "Report Authors", "Administrators", "Consumers",
                                    "Planning Contributors"};
const char* const kSuccessMessages[] = {"Request completed.", "Report executed successfully.",
                                        "Cube view returned 1250 cells."};
const char* const kFailureMessages[] = {
    "QXE-RQ-0012 The data source could not be opened.",
    "QXE-RQ-0101 The request timed out after 300 seconds.",
    "QXE-DS-0042 Member 'Camping Equipment' was not found in dimension 'Products'.",
    "QXE-RQ-0007 The server is too busy to accept the request."};
const char* const kOrphanMessages[] = {"QXE-RQ-0002 The request named no session.",
                                       "QXE-RQ-0003 The session has expired."};
const char* const kRemoteFiles[] = {"/mnt/remote/cubes/Sales2011.mdc",
                                    "/mnt/remote/cubes/Inventory.mdc",
                                    "\\\\fileserver\\cubes\\Finance_Q1.mdc"};
const char* const kLoginMessages[] = {"jsmith", "LDAP,jsmith", "Native,admin"};
const char* const kCopyMessages[] = {"Report,Sales Overview", "Report,Sales,2011",
                                     "Quarterly Summary"};
const char* const kMoveMessages[] = {"Folder,Q1 Reports", "Package,GreatOutdoors", "Archive"};
const char* const kPublishObjects[] = {"Cube,Sales2011", "Package,GreatOutdoors", "Inventory"};
const char* const kPublishFailures[] = {"Publish failed: the portal refused the request.",
                                        "Publish failed: access denied."};

struct Level {
    const char* code;
    const char* name;
};

struct Dimension {
    const char* code;
    const char* name;
    Level levels[3];
};

const Dimension kDimensions[] = {
    {"Dim01",
     "Products",
     {{"Dim01L1", "Product Line"}, {"Dim01L2", "Product Type"}, {"Dim01L3", "Product"}}},
    {"Dim02", "Years", {{"Dim02L1", "Year"}, {"Dim02L2", "Quarter"}, {"Dim02L3", "Month"}}},
    {"Dim03", "Regions", {{"Dim03L1", "Region"}, {"Dim03L2", "Country"}, {"Dim03L3", "City"}}},
    {"Dim04",
     "Channels",
     {{"Dim04L1", "Channel"}, {"Dim04L2", "Retailer Type"}, {"Dim04L3", "Retailer"}}},
    {"Dim05",
     "Order Method",
     {{"Dim05L1", "Method"}, {"Dim05L2", "Method Detail"}, {"Dim05L3", "Order"}}},
    {"Dim06",
     "Promotions",
     {{"Dim06L1", "Campaign"}, {"Dim06L2", "Promotion"}, {"Dim06L3", "Offer"}}},
    {"Dim07", "Staff", {{"Dim07L1", "Branch"}, {"Dim07L2", "Team"}, {"Dim07L3", "Employee"}}},
};

struct Measure {
    const char* code;
    const char* name;
};

// Names may hold an escaped comma, which the usage decoder turns into a comma.
const Measure kMeasures[] = {
    {"Meas01", "Revenue"},      {"Meas02", "Quantity"},        {"Meas03", "Unit Cost"},
    {"Meas04", "Gross Profit"}, {"Meas05", "Planned Revenue"}, {"Meas06", "Revenue\\, Net"},
};

const uint32_t kDimensionCount = sizeof kDimensions / sizeof kDimensions[0];
const uint32_t kMeasureCount = sizeof kMeasures / sizeof kMeasures[0];

void appendHex(std::string& text, uint64_t value, int digits) {
    static const char kHex[] = "0123456789abcdef";
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
        text.push_back(kHex[(value >> shift) & 0xF]);
    }
}

// Picks `count` distinct indexes below `bound` into `chosen`, in ascending order.
void pickDistinct(FastRandom& random, uint32_t bound, uint32_t count, uint32_t* chosen) {
    uint32_t taken = 0;
    for (uint32_t index = 0; index < bound && taken < count; ++index) {
        // Selection sampling: each index is taken with the chance still needed.
        if (random.below(bound - index) < count - taken) {
            chosen[taken++] = index;
        }
    }
}

}  // namespace

AuditTrafficGenerator::AuditTrafficGenerator(const AuditGenOptions& options, std::string timeZone,
                                             std::string differenceFromGMT, AuditLineSink& sink)
    : m_options(options),
      m_timeZone(std::move(timeZone)),
      m_differenceFromGMT(std::move(differenceFromGMT)),
      m_sink(sink),
      m_random(options.seed),
      m_schedule(options.days,
                 uint64_t{options.linesPerFile} * (options.files + (options.live ? 1 : 0)),
                 uint64_t{kBurstLinesPerSession} * options.sessions, startSecond(options.seed)),
      m_clock(m_schedule.firstMillisecond()),
      m_lastFileSecond(m_clock.seconds() - 1),
      m_sessions(options.sessions) {
    m_machine = "qxhost" + std::to_string(10 + options.seed % 90) +
                ".example.net:" + std::to_string(8010 + options.seed % 50);
    m_message.reserve(2048);
}

int64_t AuditTrafficGenerator::startSecond(uint64_t seed) {
    return kBaseSecond + static_cast<int64_t>(seed % 365) * 86400;
}

void AuditTrafficGenerator::run() {
    for (uint32_t file = 0; file < m_options.files; ++file) {
        bool last = file + 1 == m_options.files && !m_options.live;
        writeFile(true, last || !m_options.splitUsage, last);
    }
    if (m_options.live) {
        writeFile(false, true, true);
    }
}

void AuditTrafficGenerator::writeFile(bool rolled, bool drainAtEnd, bool last) {
    // Rolled files are told apart by their first second.
    if (m_clock.seconds() <= m_lastFileSecond) {
        m_clock.advanceToNextSecond();
    }
    m_lastFileSecond = m_clock.seconds();
    m_sink.beginFile(rolled ? "qxes_audit_" + m_clock.fileStamp() + ".log" : "qxes_audit.log");
    m_linesInFile = 0;
    ++m_generation;
    writeStartLines();

    wakeSessions();
    // Ending requests before each quiet time adds lines: the last file goes
    // on until the last burst, so that every day gets its traffic.
    while (m_linesInFile < m_options.linesPerFile || (last && m_schedule.burstsLeft())) {
        if (m_schedule.burstDone(m_linesWritten) ||
            (m_linesInFile >= m_options.linesPerFile && m_schedule.burstsLeft())) {
            pauseUntilNextBurst();
        }
        tick();
    }
    if (drainAtEnd) {
        drain();
    } else {
        finishCarriedRequests();
    }
    m_sink.endFile(m_clock.seconds());
}

void AuditTrafficGenerator::wakeSessions() {
    for (uint32_t index = 0; index < m_sessions.size(); ++index) {
        Session& session = m_sessions[index];
        if (!session.busy) {
            nextRequest(session);
            session.busy = true;
            m_busy.push_back(index);
        }
    }
}

void AuditTrafficGenerator::drain() {
    m_draining = true;
    while (!m_busy.empty()) {
        tick();
    }
    m_draining = false;
}

void AuditTrafficGenerator::pauseUntilNextBurst() {
    // No request spans the quiet time, or its duration would count it.
    drain();
    m_clock.advanceTo(m_schedule.nextBurst(m_random));
    wakeSessions();
}

void AuditTrafficGenerator::finishCarriedRequests() {
    std::vector<uint32_t> carried;
    for (uint32_t index : m_busy) {
        if (m_sessions[index].requestFile < m_generation) {
            carried.push_back(index);
        }
    }
    while (!carried.empty()) {
        uint32_t slot = m_random.below(static_cast<uint32_t>(carried.size()));
        Session& session = m_sessions[carried[slot]];
        if (writeStep(session)) {
            nextRequest(session);
            carried[slot] = carried.back();
            carried.pop_back();
        }
    }
}

void AuditTrafficGenerator::writeStartLines() {
    write(kV, kNoSession, kNoRequest, kQXES, k1, kVersionText);
    m_message = std::to_string(m_generation);
    write(kG, kNoSession, kNoRequest, kQXES, kFGN, m_message);
    write(kI, kNoSession, kNoRequest, kQXES, kSRV, m_machine);
}

void AuditTrafficGenerator::tick() {
    if (!m_draining && m_random.below(200) == 0) {
        m_message = pick(kOrphanMessages);
        std::string requestId = std::to_string(++m_orphanCounter);
        write(kE, kOrphanSession, requestId, kQXRQ, kREQFAILE, m_message);
        return;
    }
    uint32_t slot = m_random.below(static_cast<uint32_t>(m_busy.size()));
    Session& session = m_sessions[m_busy[slot]];
    if (!writeStep(session)) {
        return;
    }
    if (m_draining) {
        session.busy = false;
        m_busy[slot] = m_busy.back();
        m_busy.pop_back();
    } else {
        nextRequest(session);
    }
}

void AuditTrafficGenerator::nextRequest(Session& session) {
    if (session.requestsLeft == 0) {
        startSession(session);
    }
    --session.requestsLeft;
    startRequest(session);
}

void AuditTrafficGenerator::startSession(Session& session) {
    ++m_sessionCounter;
    session.id = m_options.sessionPrefix;
    appendHex(session.id, m_sessionCounter, 8);
    appendHex(session.id, m_random.next(), 8);
    session.nextRequest = 1;
    session.requestsLeft = 1 + m_random.below(6);
    session.userWritten = false;
    session.user = m_random.below(sizeof kUsers / sizeof kUsers[0]);
}

void AuditTrafficGenerator::startRequest(Session& session) {
    session.requestId = std::to_string(session.nextRequest++);
    session.requestFile = m_generation;
    session.source = m_random.below(sizeof kSources / sizeof kSources[0]);
    session.stepIndex = 0;
    session.stepCount = 0;
    auto add = [&session](Step step) { session.steps[session.stepCount++] = step; };

    uint32_t kind = m_random.below(100);
    if (kind < 68) {
        uint32_t outcome = m_random.below(100);
        if (outcome < 3) {
            add(Step::kRequestFailed);  // refused before it was opened
            return;
        }
        add(Step::kRequestInfo);
        if (!session.userWritten) {
            add(Step::kUser);
            session.userWritten = true;
        }
        add(Step::kUserClass);
        if (outcome < 8) {
            add(Step::kRequestFailed);
            return;
        }
        if (m_random.percent(5)) {
            add(Step::kRedispatch);
        }
        if (m_random.percent(10)) {
            add(Step::kUsageInfo);
        }
        add(Step::kUsageCodes);
        add(Step::kUsageNames);
        add(Step::kUsageData);
        add(m_random.percent(4) ? Step::kResultFailed : Step::kSuccess);
    } else if (kind < 78) {
        add(Step::kRemote);
        add(Step::kRemoteSuccess);
    } else if (kind < 90) {
        add(Step::kAdmin);
    } else {
        add(Step::kPublishBegin);
        add(m_random.percent(20) ? Step::kPublishFailed : Step::kPublishSuccess);
    }
}

bool AuditTrafficGenerator::writeStep(Session& session) {
    const Step step = session.steps[session.stepIndex++];
    const DataSource& source = kSources[session.source];
    const std::string& id = session.id;
    const std::string& request = session.requestId;
    switch (step) {
        case Step::kRequestInfo:
            m_message.assign(source.name).append(",").append(source.type).append(",\"");
            m_message.append("/data/cubes/").append(source.name).append(".mdc\",");
            m_message.append(pick(kMirrors)).append(",").append(pick(kRequestFlags));
            write(kI, id, request, kQXRQ, kREQINFO, m_message);
            break;
        case Step::kUser:
            write(kI, id, request, kQXDS, kUSR, kUsers[session.user]);
            break;
        case Step::kUserClass:
            write(kI, id, request, kQXDS, kUC, pick(kUserClasses));
            break;
        case Step::kUsageInfo:
            m_message.assign("cube=").append(source.name);
            write(kU, id, request, kQXDS, kQXUI, m_message);
            break;
        case Step::kUsageCodes:
            buildUsage(session);
            write(kU, id, request, kQXDS, kQXUC, session.usageCodes);
            break;
        case Step::kUsageNames:
            write(kU, id, request, kQXDS, kQXUH, session.usageNames);
            break;
        case Step::kUsageData:
            write(kU, id, request, kQXDS, kQXUD, session.usageData);
            break;
        case Step::kRedispatch:
            m_message.assign("Redispatched to ").append(m_machine);
            write(kI, id, request, kQXRQ, kREDISPATCH, m_message);
            break;
        case Step::kSuccess:
            write(kI, id, request, kQXRQ, kSUCC, pick(kSuccessMessages));
            break;
        case Step::kRequestFailed:
            write(kE, id, request, kQXRQ, kREQFAILE, pick(kFailureMessages));
            break;
        case Step::kResultFailed:
            write(kE, id, request, kQXRQ, kRESFAILE, pick(kFailureMessages));
            break;
        case Step::kRemote:
            write(kI, id, request, kQXDS, kREMOTE, pick(kRemoteFiles));
            break;
        case Step::kRemoteSuccess:
            write(kI, id, request, kQXDS, kSUCC, "Remote request completed.");
            break;
        case Step::kAdmin: {
            uint32_t action = m_random.below(3);
            if (action == 0) {
                write(kI, id, request, kQXES, kLOGIN, pick(kLoginMessages));
            } else if (action == 1) {
                write(kI, id, request, kQXES, kCOPY, pick(kCopyMessages));
            } else {
                write(kI, id, request, kQXES, kMOVE, pick(kMoveMessages));
            }
            break;
        }
        case Step::kPublishBegin:
            write(kI, id, request, kQXPB, kTRVR, pick(kPublishObjects));
            break;
        case Step::kPublishSuccess:
            write(kI, id, request, kQXPB, kTRVS, "Published successfully.");
            break;
        case Step::kPublishFailed:
            write(kE, id, request, kQXPB, kTRVE, pick(kPublishFailures));
            break;
    }
    return session.stepIndex >= session.stepCount;
}

void AuditTrafficGenerator::buildUsage(Session& session) {
    uint32_t dimensions[kDimensionCount];
    uint32_t measures[kMeasureCount];
    const uint32_t dimensionCount = 1 + m_random.below(4);
    const uint32_t measureCount = 1 + m_random.below(4);
    pickDistinct(m_random, kDimensionCount, dimensionCount, dimensions);
    pickDistinct(m_random, kMeasureCount, measureCount, measures);

    std::string& codes = session.usageCodes;
    std::string& names = session.usageNames;
    std::string& data = session.usageData;
    codes.clear();
    names.clear();
    data.clear();
    auto field = [&](const char* code, const char* name, uint32_t count, bool first) {
        if (!first) {
            codes += ',';
            names += ',';
            data += ',';
        }
        codes += code;
        names += name;
        data += std::to_string(count);
    };
    auto endRecord = [&] {
        codes += ';';
        names += ';';
        data += ';';
    };

    // Record 0: the dimensions, then one field for the measures.
    for (uint32_t i = 0; i < dimensionCount; ++i) {
        const Dimension& dimension = kDimensions[dimensions[i]];
        field(dimension.code, dimension.name, 1 + m_random.below(500), i == 0);
    }
    field("Measures", "Measures", measureCount, false);
    // One record of levels per dimension, in the same order.
    for (uint32_t i = 0; i < dimensionCount; ++i) {
        endRecord();
        uint32_t levels[3];
        uint32_t levelCount = 1 + m_random.below(3);
        pickDistinct(m_random, 3, levelCount, levels);
        for (uint32_t j = 0; j < levelCount; ++j) {
            const Level& level = kDimensions[dimensions[i]].levels[levels[j]];
            field(level.code, level.name, 1 + m_random.below(200), j == 0);
        }
    }
    // The last record: the measures.
    endRecord();
    for (uint32_t i = 0; i < measureCount; ++i) {
        const Measure& measure = kMeasures[measures[i]];
        field(measure.code, measure.name, 1 + m_random.below(100000), i == 0);
    }
}

void AuditTrafficGenerator::write(TypeCode type, std::string_view sessionId,
                                  std::string_view requestId, ComponentCode component,
                                  FormatCode format, std::string_view message) {
    m_clock.advance(1 + m_random.below(40));
    AuditLine line;
    line.type = GetType(type);
    line.time_stamp = m_clock.text();
    line.time_zone = m_timeZone;
    line.difference_from_GMT = m_differenceFromGMT;
    line.session_id = sessionId;
    line.request_id = requestId;
    line.component_id = GetComponent(component);
    line.message_format = GetFormat(format);
    line.message = message;
    m_sink.writeRecord(line);
    ++m_linesWritten;
    ++m_linesInFile;
}
