#include "qxdsUsageInfoHelper.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "krlAssertError.h"

namespace {

using UsageArray = std::vector<std::vector<CodeNameValueTuple>>;

std::string Show(const UsageArray& usage) {
    std::string out;
    for (const auto& record : usage) {
        out += "[";
        for (const auto& tuple : record) {
            out += "(" + tuple.code + "|" + tuple.name + "|" + tuple.value + ")";
        }
        out += "]";
    }
    return out;
}

UsageArray Build(const std::string& code, const std::string& name, const std::string& data) {
    UsageArray usage;
    qxdsUsageInfoHelper::buildUsageArray(code, name, data, usage);
    return usage;
}

TEST(BuildUsageArray, DecodesDimensionsLevelsAndMeasures) {
    EXPECT_EQ(Show(Build("D1,D2,M;L11,L12;L21;MC1,MC2",
                         "Dim1,Dim2,Measures;Lev11,Lev12;Lev21;Meas1,Meas2", "5,3,8;2,3;3;4,4")),
              "[(D1|Dim1|5)(D2|Dim2|3)(M|Measures|8)]"
              "[(L11|Lev11|2)(L12|Lev12|3)]"
              "[(L21|Lev21|3)]"
              "[(MC1|Meas1|4)(MC2|Meas2|4)]");
}

TEST(BuildUsageArray, EscapedSeparatorsStayInsideTheirField) {
    EXPECT_EQ(Show(Build("a\\,b,c\\;d;x\\y", "n1,n2;n3", "1,2;3")),
              "[(a,b|n1|1)(c;d|n2|2)][(x\\y|n3|3)]");
}

TEST(BuildUsageArray, TrailingRecordSeparatorGivesEmptyLastRecord) {
    EXPECT_EQ(Show(Build("M;", "Measures;", "8;")), "[(M|Measures|8)][]");
}

struct AssertCase {
    const char* behaviour;
    std::string code;
    std::string name;
    std::string data;
    bool arrayAlreadyFilled;
    std::string text;
    int line;
};

class BuildUsageArrayAsserts : public ::testing::TestWithParam<AssertCase> {};

const char* const kFieldsText =
    "KRL_ASSERT(( codeFieldTokenizer.hasMoreTokens() && nameFieldTokenizer.hasMoreTokens() && "
    "dataFieldTokenizer.hasMoreTokens() ) || ( !codeFieldTokenizer.hasMoreTokens() && "
    "!nameFieldTokenizer.hasMoreTokens() && !dataFieldTokenizer.hasMoreTokens() ));";
const char* const kRecordsText =
    "KRL_ASSERT(( codeRecordTokenizer.hasMoreTokens() && nameRecordTokenizer.hasMoreTokens() && "
    "dataRecordTokenizer.hasMoreTokens() ) || ( !codeRecordTokenizer.hasMoreTokens() && "
    "!nameRecordTokenizer.hasMoreTokens() && !dataRecordTokenizer.hasMoreTokens() ));";

TEST_P(BuildUsageArrayAsserts, ThrowsWithItsTextAndPlace) {
    const AssertCase& c = GetParam();
    UsageArray usage;
    if (c.arrayAlreadyFilled) {
        usage.push_back({});
    }
    try {
        qxdsUsageInfoHelper::buildUsageArray(c.code, c.name, c.data, usage);
        FAIL() << c.behaviour << ": no assertion";
    } catch (const KRLAssertError& e) {
        EXPECT_EQ(e.getErrorCodeMessage(), c.text) << c.behaviour;
        EXPECT_EQ(e.getBackTrace().at(0).file, "source/qxdsUsageInfoHelper") << c.behaviour;
        EXPECT_EQ(e.getBackTrace().at(0).line, c.line) << c.behaviour;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Malformed, BuildUsageArrayAsserts,
    ::testing::Values(
        AssertCase{"EmptyCodes", "", "n", "1", false, "KRL_ASSERT(!code.empty());", 50},
        AssertCase{"CodesCheckedFirst", "", "", "", true, "KRL_ASSERT(!code.empty());", 50},
        AssertCase{"EmptyNames", "c", "", "1", false, "KRL_ASSERT(!name.empty());", 51},
        AssertCase{"EmptyData", "c", "n", "", false, "KRL_ASSERT(!data.empty());", 52},
        AssertCase{"ArrayNotEmpty", "c", "n", "1", true, "KRL_ASSERT(usageArray.empty());", 54},
        AssertCase{"CodeRecordEndsWithExtraComma", "a,b,", "x,y", "1,2", false, kFieldsText, 77},
        AssertCase{"NamesHaveMoreFields", "a", "x,y", "1", false, kFieldsText, 77},
        AssertCase{"DataHasMoreRecords", "a", "x", "1;2", false, kRecordsText, 82}),
    [](const ::testing::TestParamInfo<AssertCase>& info) { return info.param.behaviour; });

// A strict reader for the XML subset the fragment uses: elements (attributes
// not checked), entity-escaped text and CDATA sections, under one root. It lists
// each element without children as "path=text"; false means not well-formed.
bool ReadFragment(const std::string& xml, std::vector<std::string>& leaves) {
    struct Open {
        std::string name;
        std::string text;
        bool hasChildren = false;
    };
    std::vector<Open> open;
    bool rootClosed = false;
    std::size_t i = 0;
    while (i < xml.size()) {
        if (xml.compare(i, 9, "<![CDATA[") == 0) {
            const std::size_t end = xml.find("]]>", i + 9);
            if (end == std::string::npos || open.empty()) {
                return false;
            }
            open.back().text.append(xml, i + 9, end - i - 9);
            i = end + 3;
        } else if (xml[i] == '<') {
            const std::size_t end = xml.find('>', i);
            if (end == std::string::npos || rootClosed) {
                return false;
            }
            std::string tag = xml.substr(i + 1, end - i - 1);
            i = end + 1;
            if (!tag.empty() && tag[0] == '/') {
                if (open.empty() || open.back().name != tag.substr(1)) {
                    return false;
                }
                std::string path;
                for (const Open& o : open) {
                    path += (path.empty() ? "" : "/") + o.name;
                }
                if (!open.back().hasChildren) {
                    leaves.push_back(path + "=" + open.back().text);
                }
                open.pop_back();
                rootClosed = open.empty();
                continue;
            }
            const std::size_t blank = tag.find(' ');
            const std::string name = tag.substr(0, blank);
            if (name.empty() || name.find_first_of("<&'\"/!?") != std::string::npos) {
                return false;
            }
            // Attributes are not read; a '<' inside a tag means an unclosed one.
            if (tag.find('<') != std::string::npos) {
                return false;
            }
            if (!open.empty()) {
                open.back().hasChildren = true;
            }
            open.push_back({name, "", false});
        } else if (xml[i] == '&') {
            static const std::pair<const char*, char> kEntities[] = {
                {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&apos;", '\''}, {"&quot;", '"'}};
            bool known = false;
            for (const auto& entity : kEntities) {
                const std::string ref = entity.first;
                if (xml.compare(i, ref.size(), ref) == 0 && !open.empty()) {
                    open.back().text += entity.second;
                    i += ref.size();
                    known = true;
                    break;
                }
            }
            if (!known) {
                return false;
            }
        } else {
            if (open.empty() || xml.compare(i, 3, "]]>") == 0) {
                return false;
            }
            open.back().text += xml[i++];
        }
    }
    return rootClosed;
}

TEST(GenerateUsageArrayAsXMLFragment, NestsLevelsInTheirDimensionAndListsMeasures) {
    std::string xml;
    qxdsUsageInfoHelper::generateUsageArrayAsXMLFragment(
        Build("D1,D2,M;L11,L12;L21;MC1,MC2", "Dim1,Dim2,Measures;Lev11,Lev12;Lev21;Meas1,Meas2",
              "5,3,8;2,3;3;4,4"),
        xml);
    std::vector<std::string> leaves;
    ASSERT_TRUE(ReadFragment(xml, leaves)) << xml;
    const std::string dim = "parameters/blob/item/QXES_DIM_USAGE/QXES_DIM_ITEM/";
    const std::string level = dim + "QXES_LEVEL_USAGE/QXES_LEVEL_ITEM/";
    const std::string measure = "parameters/blob/item/QXES_MEASURE_USAGE/QXES_MEASURE_ITEM/";
    const std::vector<std::string> expected = {dim + "QXES_DIM_CODE=D1",
                                               dim + "QXES_DIM_NAME=Dim1",
                                               dim + "QXES_DIM_COUNT=5",
                                               level + "QXES_LEVEL_CODE=L11",
                                               level + "QXES_LEVEL_NAME=Lev11",
                                               level + "QXES_LEVEL_COUNT=2",
                                               level + "QXES_LEVEL_CODE=L12",
                                               level + "QXES_LEVEL_NAME=Lev12",
                                               level + "QXES_LEVEL_COUNT=3",
                                               dim + "QXES_DIM_CODE=D2",
                                               dim + "QXES_DIM_NAME=Dim2",
                                               dim + "QXES_DIM_COUNT=3",
                                               level + "QXES_LEVEL_CODE=L21",
                                               level + "QXES_LEVEL_NAME=Lev21",
                                               level + "QXES_LEVEL_COUNT=3",
                                               measure + "QXES_MEASURE_CODE=MC1",
                                               measure + "QXES_MEASURE_NAME=Meas1",
                                               measure + "QXES_MEASURE_COUNT=4",
                                               measure + "QXES_MEASURE_CODE=MC2",
                                               measure + "QXES_MEASURE_NAME=Meas2",
                                               measure + "QXES_MEASURE_COUNT=4"};
    EXPECT_EQ(leaves, expected);
    EXPECT_NE(xml.find("<item name='QXES_DIM_USAGE'>"), std::string::npos);
    EXPECT_NE(xml.find("<item name='QXES_MEASURE_USAGE'>"), std::string::npos);
}

TEST(GenerateUsageArrayAsXMLFragment, MarkupInValuesStaysWellFormed) {
    const UsageArray usage = {{{"a]]>b", "x]]>]]>y", "1<&>"}, {"M", "Measures", "9"}},
                              {{"l]]>", "<lev>", "2"}},
                              {{"m", "n&", "]]>"}}};
    std::string xml = "<prefix/>";
    qxdsUsageInfoHelper::generateUsageArrayAsXMLFragment(usage, xml);
    ASSERT_EQ(xml.rfind("<prefix/>", 0), 0u) << "the fragment is appended";
    std::vector<std::string> leaves;
    ASSERT_TRUE(ReadFragment(xml.substr(9), leaves)) << xml;
    std::vector<std::string> values;
    for (const std::string& leaf : leaves) {
        values.push_back(leaf.substr(leaf.find('=') + 1));
    }
    const std::vector<std::string> expected = {"a]]>b", "x]]>]]>y", "1<&>", "l]]>", "<lev>",
                                               "2",     "m",        "n&",   "]]>"};
    EXPECT_EQ(values, expected);
}

TEST(GenerateUsageArrayAsXMLFragment, DimensionWithoutLevelRecordGetsNoLevels) {
    // Two dimensions but only one record after record 0: nothing is read past the end.
    const UsageArray usage = {{{"D1", "Dim1", "1"}, {"D2", "Dim2", "2"}, {"M", "Measures", "3"}},
                              {{"MC", "Meas", "4"}}};
    std::string xml;
    qxdsUsageInfoHelper::generateUsageArrayAsXMLFragment(usage, xml);
    std::vector<std::string> leaves;
    EXPECT_TRUE(ReadFragment(xml, leaves)) << xml;
    EXPECT_NE(
        xml.find("<QXES_DIM_CODE><![CDATA[D2]]></QXES_DIM_CODE><QXES_DIM_NAME><![CDATA[Dim2]]>"
                 "</QXES_DIM_NAME><QXES_DIM_COUNT>2</QXES_DIM_COUNT>"
                 "<QXES_LEVEL_USAGE></QXES_LEVEL_USAGE>"),
        std::string::npos)
        << xml;
}

TEST(GenerateUsageArrayAsXMLFragment, EmptyArrayAsserts) {
    std::string xml;
    try {
        qxdsUsageInfoHelper::generateUsageArrayAsXMLFragment({}, xml);
        FAIL() << "no assertion";
    } catch (const KRLAssertError& e) {
        EXPECT_EQ(e.getErrorCodeMessage(), "KRL_ASSERT(usageArray.size());");
    }
    EXPECT_TRUE(xml.empty());
}

}  // namespace
