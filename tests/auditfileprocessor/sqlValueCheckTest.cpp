#include "sqlValueCheck.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(SqlValueCheckTest, NumericValuesMustBeWholeNumbersInTheColumnsRange) {
    const struct {
        const char* value;
        SqlColType columnType;
        bool valid;
    } cases[] = {
        {"NULL", kSqlColInteger, true},
        {"-0042", kSqlColInteger, true},
        {"2147483647", kSqlColInteger, true},
        {"-2147483648", kSqlColInteger, true},
        {"2147483648", kSqlColInteger, false},
        {"99999999999", kSqlColBigInt, true},
        {"9223372036854775807", kSqlColUnknown, true},  // not in the catalogue: BIGINT
        {"9223372036854775808", kSqlColBigInt, false},
        {"-9223372036854775809", kSqlColBigInt, false},
        {"", kSqlColInteger, false},
        {"-", kSqlColInteger, false},
        {"12a", kSqlColInteger, false},
        {"+1", kSqlColInteger, false},
        {"1.5", kSqlColBigInt, false},
        {"null", kSqlColBigInt, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SqlValueCheck::IsValidNumeric(c.value, c.columnType), c.valid) << c.value;
    }
}

TEST(SqlValueCheckTest, DatesMustBeRealCalendarTimesInTheDatabaseForm) {
    const std::pair<const char*, bool> cases[] = {
        {"NULL", true},
        {"2011-03-04 17:05:09", true},
        {"2011-03-04 17:05:09.123456", true},
        {"2012-02-29 23:59:59", true},
        {"2011-03-04 17:05:09.1234567", false},
        {"2011-03-04 17:05:09.", false},
        {"2011-03-04:17:05:09", false},
        {"2011-02-29 10:00:00", false},
        {"1900-02-29 10:00:00", false},
        {"2011-04-31 10:00:00", false},
        {"0000-01-01 10:00:00", false},
        {"2011-01-01 24:00:00", false},
        {"2011-01-01 23:59:60", false},
        {"2011-01-01", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SqlValueCheck::IsValidTimestamp(c.first), c.second) << c.first;
    }
    EXPECT_TRUE(SqlValueCheck::HasNulByte(std::string("a\0b", 3)));
    EXPECT_FALSE(SqlValueCheck::HasNulByte("a b"));
}

}  // namespace
