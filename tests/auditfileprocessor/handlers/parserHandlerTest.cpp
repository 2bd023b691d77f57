// The event handlers against a real audit database: the rows that short
// sequences of audit lines leave behind, the handlers' results, and their
// assertions.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "../../support/auditFiles.h"
#include "../../support/thrown.h"
#include "afpOptions.h"
#include "parser.h"

namespace {

using namespace auditFiles;
using Handler = bool (Parser::*)(const std::vector<std::string>&);

class ParserUnderTest : public Parser {
  public:
    using Parser::m_server;
    using Parser::m_waitingUsage;
    using Parser::Parser;
    using Parser::resumeReached;
};

const char kStampInDb[] = "2011-03-04 17:05:09.042";
const char kLaterStamp[] = "2011-03-04:17:06:00.512";
const char kLaterStampInDb[] = "2011-03-04 17:06:00.512";
const char kServerStart[] = "2011-03-04 08:00:00.125";

Fields Error(const std::string& format, const std::string& session, const std::string& request,
             const std::string& message, const std::string& stamp = kStamp) {
    return Line("E", "QXRQ", format, session, request, message, stamp);
}
Fields UsageLine(const std::string& format, const std::string& message) {
    return Line("U", "QXDS", format, "s1", "r1", message);
}

const Handler kStartup = &Parser::ParseStartupInfo;
const Handler kRequest = &Parser::ParseRequestInfo;
const Handler kRemote = &Parser::ParseRemoteRequestInfo;
const Handler kError = &Parser::ParseRequestError;
const Handler kUsage = &Parser::ParseUsage;
const Handler kAdmin = &Parser::ParseAdminInfo;
const Handler kTarvel = &Parser::ParseTarvelInfo;
const Handler kTarvelError = &Parser::ParseTarvelError;
const Handler kUser = &Parser::ParseUserInfo;

// A line, the handler that the dispatch gives it, and the result it must
// give, or the assertion it must raise.
struct Step {
    Handler handler;
    Fields line;
    bool result;
    std::string assertion = "<no exception>";
};

class HandlerTest : public ::testing::TestWithParam<TestBackend> {
  protected:
    void SetUp() override {
        AFP_REQUIRE_DATABASE(m_database);
        m_parser = std::make_unique<ParserUnderTest>(AFPOptions(), &m_database.db(), "/opt/afp/");
        m_parser->resumeReached = true;
        m_parser->m_server.machineName = "srv";
        m_parser->m_server.machinePort = "8010";
        m_parser->m_server.versionTimeStamp = kServerStart;
        m_database.db().startTransaction();
    }
    void TearDown() override {
        if (m_parser) {
            m_database.db().commit(0);
        }
    }

    bool Take(Handler handler, const Fields& line) { return (m_parser.get()->*handler)(line); }
    void Run(const std::vector<Step>& steps) {
        for (size_t i = 0; i < steps.size(); ++i) {
            bool result = false;
            const std::string assertion =
                Thrown([&] { result = Take(steps[i].handler, steps[i].line); });
            EXPECT_EQ(result, steps[i].result) << "step " << i;
            EXPECT_EQ(assertion, steps[i].assertion) << "step " << i;
        }
    }
    // The committed rows of a query (or runs SQL), through a second connection
    // between two of the loader's transactions.
    Rows Query(const std::string& sql) {
        m_database.db().commit(1);
        Rows rows = m_database.query(sql);
        m_database.db().startTransaction();
        return rows;
    }
    void EmptyTables() {
        m_database.db().commit(1);
        for (const char* table : kAuditTables) {
            m_database.exec(std::string("DELETE FROM ") + table);
        }
        m_database.db().startTransaction();
    }
    TestDatabase m_database{GetParam()};
    std::unique_ptr<ParserUnderTest> m_parser;
};

const char kRequestColumns[] =
    "SELECT SESSION_ID, REQUEST_ID, START_DATE_TIME, END_DATE_TIME, REQUEST_STATUS, "
    "REQUEST_TYPE, ACTION, MIRRORS, MESSAGE, USER_CLASS, REDISPATCH, MACHINE_NAME, "
    "MACHINE_PORT, SERVER_START_DATE_TIME FROM QXES_REQUEST ORDER BY SESSION_ID, REQUEST_ID";

// A request row as kRequestColumns reads it, with the test server's reference.
std::vector<std::string> Request(const std::string& session, const std::string& request,
                                 const std::string& start, const std::string& end,
                                 const std::string& status, const std::string& type,
                                 const std::string& action, const std::string& mirrors,
                                 const std::string& message, const std::string& userClass = "NULL",
                                 const std::string& redispatch = "NULL") {
    return {session, request, start,     end,        status, type,   action,
            mirrors, message, userClass, redispatch, "srv",  "8010", kServerStart};
}

// A sequence of lines and the rows it must leave in the tables it touches.
struct Scenario {
    const char* name;
    std::vector<Step> steps;
    std::vector<std::pair<std::string, Rows>> expected;
};

const char kSessions[] = "SELECT SESSION_ID, USER_NAME FROM QXES_SESSION ORDER BY SESSION_ID";
const char kUserSources[] =
    "SELECT SESSION_ID, SOURCE_NAME, SOURCE_TYPE, SOURCE_FILENAME FROM QXES_USER_SOURCE "
    "ORDER BY SESSION_ID, SOURCE_NAME";
const char kAdminSources[] =
    "SELECT SESSION_ID, REQUEST_ID, SOURCE_TYPE, SOURCE_NAME FROM QXES_ADMIN_SOURCE "
    "ORDER BY SESSION_ID, REQUEST_ID";

const char kDims[] = "SELECT DIM_CODE, DIM_NAME, DIM_COUNT FROM QXES_DIM_USAGE ORDER BY DIM_CODE";
const char kLevels[] =
    "SELECT DIM_CODE, LEVEL_CODE, LEVEL_NAME, LEVEL_COUNT FROM QXES_LEVEL_USAGE "
    "ORDER BY DIM_CODE, LEVEL_CODE";
const char kMeasures[] =
    "SELECT SESSION_ID, REQUEST_ID, MEASURE_CODE, MEASURE_NAME, MEASURE_COUNT "
    "FROM QXES_MEASURE_USAGE ORDER BY MEASURE_CODE";

const Scenario kScenarios[] = {
    {"SecondRequestFromTheSameSourceUpdatesTheFileName",
     {{kRequest, Info("QXRQ", "REQINFO", "12", "1", "src,cube,a.qxd,m1,x"), true},
      {kRequest, Info("QXRQ", "REQINFO", "12", "2", "src,cube,b.qxd,\"\",x", kLaterStamp), true}},
     {{kSessions, {{"12", "NULL"}}},
      {kUserSources, {{"12", "src", "cube", "b.qxd"}}},
      {kRequestColumns,
       {Request("12", "1", kStampInDb, "NULL", "NULL", "0", "NULL", "m1", "NULL"),
        Request("12", "2", kLaterStampInDb, "NULL", "NULL", "0", "NULL", "NULL", "NULL")}}}},
    {"RequestInfoAfterRemoteOnlyAddsTheMirrors",
     {{kRemote, Info("QXDS", "REMOTE", "5", "1", "remote.qxd"), true},
      {kRequest, Info("QXRQ", "REQINFO", "5", "1", "src,cube,f.qxd,m1;m2,x", kLaterStamp), true}},
     {{kUserSources, {{"5", "-", "REMOTE", "remote.qxd"}, {"5", "src", "cube", "f.qxd"}}},
      {kRequestColumns,
       {Request("5", "1", kStampInDb, "NULL", "NULL", "1", "NULL", "m1;m2", "NULL")}}}},
    {"RemoteRequestsOfOneSessionKeepTheLatestFile",
     {{kRemote, Info("QXDS", "REMOTE", "5", "1", "first.qxd"), true},
      {kRemote, Info("QXDS", "REMOTE", "5", "2", "second.qxd"), true},
      {kRemote, Info("QXDS", "REMOTE", "5", "2", "again.qxd"), false},
      {kRemote, Info("QXDS", "SUCC", "5", "1", "done", kLaterStamp), true},
      {kRemote, Info("QXDS", "FGN", "5", "1", "ignored"), false}},
     {{kSessions, {{"5", "NULL"}}},
      {kUserSources, {{"5", "-", "REMOTE", "again.qxd"}}},
      {kRequestColumns,
       {Request("5", "1", kStampInDb, kLaterStampInDb, "1", "1", "NULL", "NULL", "done"),
        Request("5", "2", kStampInDb, "NULL", "NULL", "1", "NULL", "NULL", "NULL")}}}},
    {"RequestFailureBeforeAndAfterRequestInfo",
     {{kError, Error("REQFAILE", "7", "1", "no cube"), true},
      {kRequest, Info("QXRQ", "REQINFO", "7", "2", "src,cube,f,m,x"), true},
      {kError, Error("REQFAILE", "7", "2", "timeout", kLaterStamp), true},
      {kError, Error("REQFAILE", "-", "3", "no session"), true},
      {kError, Error("FGN", "7", "2", "other"), false}},
     {{kSessions, {{"7", "NULL"}}},
      {kRequestColumns,
       {Request("7", "1", kStampInDb, kStampInDb, "0", "0", "NULL", "NULL", "no cube"),
        Request("7", "2", kStampInDb, kLaterStampInDb, "0", "0", "NULL", "m", "timeout")}}}},
    {"SuccessAfterResultFailureWins",
     {{kRequest, Info("QXRQ", "REQINFO", "8", "1", "src,cube,f,m,x"), true},
      {kError, Error("RESFAILE", "8", "1", "lost"), true},
      {kRequest, Info("QXRQ", "SUCC", "8", "1", "it's done", kLaterStamp), true},
      {kRequest, Info("QXRQ", "REDISPATCH", "8", "1", "again"), true},
      {kError, Error("RESFAILE", "8", "9", "unknown request"), true},
      {kTarvelError, Line("E", "QXPB", "TRVE", "8", "9", "unknown request"), true}},
     {{kRequestColumns,
       {Request("8", "1", kStampInDb, kLaterStampInDb, "1", "0", "NULL", "m", "it's done", "NULL",
                "1")}}}},
    {"AdministrationActionsWithAndWithoutAType",
     {{kAdmin, Info("QXES", "COPY", "9", "1", "Report,Sales,2010"), true},
      {kAdmin, Info("QXES", "LOGIN", "9", "2", "Sales"), true},
      {kAdmin, Info("QXES", "MOVE", "9", "3", ",x"), true},
      {kAdmin, Info("QXES", "MOVE", "9", "4", "y,"), true},
      {kAdmin, Info("QXES", "MOVE", "9", "4", "again"), false}},
     {{kSessions, {{"9", "NULL"}}},
      {kAdminSources,
       {{"9", "1", "Report", "Sales,2010"},
        {"9", "2", "NULL", "Sales"},
        {"9", "3", "", "x"},
        {"9", "4", "y", ""}}},
      {"SELECT REQUEST_ID, START_DATE_TIME, END_DATE_TIME, REQUEST_STATUS, REQUEST_TYPE, ACTION "
       "FROM QXES_REQUEST WHERE REQUEST_ID = '1'",
       {{"1", kStampInDb, kStampInDb, "1", "2", "COPY"}}}}},
    {"UserRecordsCompleteExistingRows",
     {{kRequest, Info("QXRQ", "REQINFO", "u", "1", "src,cube,f,m,x"), true},
      {kUser, Info("QXDS", "USR", "u", "1", "M&#252;ller"), true},
      {kUser, Info("QXDS", "UC", "u", "1", "Gr&#252;n's"), true},
      {kUser, Info("QXDS", "USR", "none", "1", "nobody"), true}},
     {{kSessions, {{"u", "M\xC3\xBCller"}}},
      {"SELECT USER_CLASS FROM QXES_REQUEST", {{"Gr&#252;n's"}}}}},
    {"UsageBlobBecomesDimensionLevelAndMeasureRows",
     {{kUsage, UsageLine("QXUC", "D1,D2,M;L11,L12;L21;MC1,MC2"), true},
      {kUsage, UsageLine("QXUC", "X1,M;LX;MX"), true},  // the first codes stay
      {kUsage, UsageLine("QXUI", "anything"), true},
      {kUsage, UsageLine("QXUH", "Dim1,Dim2,Measures;Lev11,Lev12;Lev21;Meas1,Meas2"), true},
      {kUsage, UsageLine("QXUD", "5,3,8;2,3;3;4,4"), true},
      {kUsage, UsageLine("QXUD", "5,3,8;2,3;3;4,4"), false}},  // codes and names were consumed
     {{kDims, {{"D1", "Dim1", "5"}, {"D2", "Dim2", "3"}}},
      {kLevels,
       {{"D1", "L11", "Lev11", "2"}, {"D1", "L12", "Lev12", "3"}, {"D2", "L21", "Lev21", "3"}}},
      {kMeasures, {{"s1", "r1", "MC1", "Meas1", "4"}, {"s1", "r1", "MC2", "Meas2", "4"}}}}},
    {"UsageWithOneFieldGivesMeasuresOnly",
     {{kUsage, UsageLine("QXUC", "MC1"), true},
      {kUsage, UsageLine("QXUH", "Meas1"), true},
      {kUsage, UsageLine("QXUD", "4"), true}},
     {{kDims, {}}, {kMeasures, {{"s1", "r1", "MC1", "Meas1", "4"}}}}},
    {"UsageWithAnEmptyFirstRecordWritesNothing",
     {{kUsage, UsageLine("QXUC", ";"), true},
      {kUsage, UsageLine("QXUH", ";"), true},
      {kUsage, UsageLine("QXUD", ";"), false}},
     {{kDims, {}}, {kMeasures, {}}}},
    {"UsageLevelRecordMayBeTheMeasureRecord",
     {{kUsage, UsageLine("QXUC", "D1,M;MC1"), true},
      {kUsage, UsageLine("QXUH", "Dim1,M;Meas1"), true},
      {kUsage, UsageLine("QXUD", "1,2;3"), true}},
     {{kDims, {{"D1", "Dim1", "1"}}}, {kMeasures, {{"s1", "r1", "MC1", "Meas1", "3"}}}}},
    {"LinesTheDispatchSendsButNoHandlerKnowsAssert",
     {
         {kRequest, Info("QXRQ", "FGN", "1", "1", "m"), false, "KRL_ASSERT(FALSE);"},
         {kRequest, Info("QXRQ", "REQINFO", "1", "1", "a,b,c,d"), false,
          "KRL_ASSERT(svDetails.size() == message + 1);"},
         {kTarvel, Info("QXPB", "TRVE", "1", "1", "m"), false, "KRL_ASSERT(FALSE);"},
         {kTarvelError, Line("E", "QXPB", "TRVS", "1", "1", "m"), false, "KRL_ASSERT(FALSE);"},
         {kUsage, UsageLine("QXUX", "m"), false,
          "KRL_ASSERT(0 == strcmp( line[ msg_format ].c_str(), AuditSupport::GetFormat( "
          "AuditSupport::kQXUC ) ) || 0 == strcmp( line[ msg_format ].c_str(), "
          "AuditSupport::GetFormat( AuditSupport::kQXUH ) ) || 0 == strcmp( line[ msg_format "
          "].c_str(), AuditSupport::GetFormat( AuditSupport::kQXUD ) ) || 0 == strcmp( line[ "
          "msg_format ].c_str(), AuditSupport::GetFormat( AuditSupport::kQXUI ) ));"},
     },
     // The session row of the REQINFO with four pieces was written before its assertion.
     {{kSessions, {{"1", "NULL"}}}}},
    {"UsageWithoutItsLevelRecordsAssertsBeforeAnyRow",
     // Two dimensions but only two records: a level look-up would fall off the end.
     {{kUsage, UsageLine("QXUC", "D1,D2,M;L1"), true},
      {kUsage, UsageLine("QXUH", "Dim1,Dim2,M;Lev1"), true},
      {kUsage, UsageLine("QXUD", "1,2,3;4"), false,
       "KRL_ASSERT(dimensionCount == 0 || usageArray.size() > dimensionCount);"}},
     {{kDims, {}}, {kMeasures, {}}}},
};

TEST_P(HandlerTest, ScenariosLeaveTheExpectedRows) {
    for (const Scenario& scenario : kScenarios) {
        SCOPED_TRACE(scenario.name);
        EmptyTables();
        Run(scenario.steps);
        for (const auto& expected : scenario.expected) {
            EXPECT_EQ(Query(expected.first), expected.second) << expected.first;
        }
        EXPECT_TRUE(m_parser->m_waitingUsage.codes().empty());
        EXPECT_TRUE(m_parser->m_waitingUsage.names().empty());
    }
}

TEST_P(HandlerTest, StartupSplitsMachineAndPortAtTheFirstColon) {
    struct Case {
        const char* message;
        const char* machine;
        const char* port;
    } const cases[] = {
        {"srvhost:8010", "srvhost", "8010"},
        {"srvhost", "srvhost", "NULL"},
        {"srvhost:", "srvhost", ""},
        {":8010", "", "8010"},
        {"a:b:c", "a", "b:c"},
    };
    m_parser->resumeReached = false;  // the split holds even when nothing is written
    for (const Case& c : cases) {
        EXPECT_TRUE(Take(kStartup, Info("QXES", "SRV", "0", "0", c.message)));
        EXPECT_EQ(m_parser->m_server.machineName, c.machine) << c.message;
        EXPECT_EQ(m_parser->m_server.machinePort, c.port) << c.message;
    }
    EXPECT_EQ(Query("SELECT COUNT(*) FROM QXES_DISPATCHER"), Rows{{"0"}});
}

AFP_ON_BOTH_BACKENDS(HandlerTest);

}  // namespace
