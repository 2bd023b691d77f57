#include "auditInfo.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "attributeTree.h"

using namespace AuditSupport;

namespace {

TEST(AuditInfo, StoreWritesNineAttributesPerRecordInOrder) {
    unsigned char context = 0;
    AuditInfo info(&context);
    AuditRecord first(kI, "12", "7", kQXRQ, kREQINFO, "src,cube,\"f\",,x", "a1", "a2", "a3", "a4",
                      "a5", "tail");
    AuditRecord second(kE, "13", "1", kQXPB, kTRVE, "failed", "");
    info.addAuditRecord(first);
    info.addAuditRecord(second);
    first.message = "changed after adding";

    AttributeTree tree;
    info.Store(&tree);
    ASSERT_EQ(2u, tree.children().size());
    EXPECT_EQ("a0", tree.children().at(0).name());
    EXPECT_EQ("a1", tree.children().at(1).name());

    std::vector<std::string> keys;
    for (const auto& attribute : tree.children().at(0).attributes()) {
        keys.push_back(attribute.first);
    }
    EXPECT_EQ(std::vector<std::string>({"type", "time_stamp", "time_zone", "difference_from_GMT",
                                        "session_id", "request_id", "component_id",
                                        "message_format", "message"}),
              keys);
    const AttributeTree& stored = tree.children().at(0);
    EXPECT_EQ("I", *stored.getAttribute("type"));
    EXPECT_EQ("QXRQ", *stored.getAttribute("component_id"));
    EXPECT_EQ("REQINFO", *stored.getAttribute("message_format"));
    EXPECT_EQ("src,cube,\"f\",,x", *stored.getAttribute("message"));
    EXPECT_EQ("E", *tree.getTree("a1")->getAttribute("type"));
}

TEST(AuditInfo, LoadGivesBackWhatStoreWrote) {
    AuditInfo original(nullptr);
    AuditRecord record(kU, "12", "7", kQXRQ, kQXUD, "5,3;2", "a1", "a2", "a3", "a4", "a5", "tail");
    record.determineLocalTime(1299258309, 42);
    original.addAuditRecord(record);
    AttributeTree tree;
    original.Store(&tree);

    AuditInfo loaded(nullptr);
    loaded.Load(&tree);
    ASSERT_EQ(1u, loaded.records().size());
    const AuditRecord& back = loaded.records().front();
    EXPECT_EQ(kU, back.type);
    EXPECT_EQ(record.time_stamp, back.time_stamp);
    EXPECT_EQ(record.time_zone, back.time_zone);
    EXPECT_EQ(record.difference_from_GMT, back.difference_from_GMT);
    EXPECT_EQ("12", back.session_id);
    EXPECT_EQ("7", back.request_id);
    EXPECT_EQ(kQXRQ, back.component_id);
    EXPECT_EQ(kQXUD, back.message_format);
    EXPECT_EQ("5,3;2", back.message);
    EXPECT_TRUE(back.aux_1.empty() && back.aux_tail.empty());

    loaded.EraseAuditInfo();
    EXPECT_TRUE(loaded.records().empty());
}

TEST(AuditInfo, LoadKeepsDefaultsForMissingAttributesAndMapsCodes) {
    AttributeTree tree;
    AttributeTree sparse("a0");
    sparse.insertAttribute("message_format", "");
    sparse.insertAttribute("component_id", "qxds");
    sparse.insertAttribute("message", "only this");
    tree.insertTree(std::move(sparse));

    AuditInfo info(nullptr);
    info.Load(&tree);
    ASSERT_EQ(1u, info.records().size());
    const AuditRecord& record = info.records().front();
    EXPECT_EQ(kTypeUnknown, record.type);
    EXPECT_EQ("0", record.session_id);
    EXPECT_EQ(kComponentUnknown, record.component_id);
    EXPECT_EQ(25, record.message_format);
    EXPECT_EQ("only this", record.message);
    EXPECT_FALSE(record.time_stamp.empty());
}

}  // namespace
