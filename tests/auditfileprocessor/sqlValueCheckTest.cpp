#include "sqlValueCheck.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct NumericCase {
    const char* value;
    SqlColType columnType;
    bool valid;
};

TEST(SqlValueCheckTest, NumericValuesMustBeWholeNumbersInTheColumnsRange) {
    const NumericCase cases[] = {
        {"NULL", kSqlColInteger, true},
        {"0", kSqlColInteger, true},
        {"-0", kSqlColInteger, true},
        {"0042", kSqlColInteger, true},
        {"2147483647", kSqlColInteger, true},
        {"-2147483648", kSqlColInteger, true},
        {"2147483648", kSqlColInteger, false},
        {"-2147483649", kSqlColInteger, false},
        {"99999999999", kSqlColInteger, false},
        {"99999999999", kSqlColBigInt, true},
        {"9223372036854775807", kSqlColBigInt, true},
        {"-9223372036854775808", kSqlColBigInt, true},
        {"9223372036854775808", kSqlColBigInt, false},
        {"-9223372036854775809", kSqlColBigInt, false},
        {"18446744073709551616", kSqlColBigInt, false},
        // A column the catalogue does not know is bounded like BIGINT.
        {"9223372036854775807", kSqlColUnknown, true},
        {"9223372036854775808", kSqlColText, false},
        {"", kSqlColInteger, false},
        {"-", kSqlColInteger, false},
        {"12a", kSqlColInteger, false},
        {"+1", kSqlColInteger, false},
        {" 1", kSqlColInteger, false},
        {"1 ", kSqlColInteger, false},
        {"1.5", kSqlColBigInt, false},
        {"1e3", kSqlColBigInt, false},
        {"--1", kSqlColBigInt, false},
        {"null", kSqlColBigInt, false},
        {"1; DELETE FROM QXES_SESSION", kSqlColBigInt, false},
    };
    for (const NumericCase& c : cases) {
        EXPECT_EQ(SqlValueCheck::IsValidNumeric(c.value, c.columnType), c.valid)
            << "'" << c.value << "' type " << c.columnType;
    }
    EXPECT_FALSE(SqlValueCheck::IsValidNumeric(std::string("1\0", 2), kSqlColBigInt));
}

TEST(SqlValueCheckTest, DatesMustBeRealCalendarTimesInTheDatabaseForm) {
    const std::pair<const char*, bool> cases[] = {
        {"NULL", true},
        {"2011-03-04 17:05:09", true},
        {"2011-03-04 17:05:09.1", true},
        {"2011-03-04 17:05:09.123", true},
        {"2011-03-04 17:05:09.123456", true},
        {"2012-02-29 00:00:00", true},
        {"2000-02-29 23:59:59", true},
        {"0001-01-01 00:00:00", true},
        {"9999-12-31 23:59:59", true},
        {"2011-03-04 17:05:09.1234567", false},
        {"2011-03-04 17:05:09.", false},
        {"2011-03-04 17:05:09,123", false},
        {"2011-03-04 17:05:09.12a", false},
        {"2011-03-04:17:05:09", false},
        {"2011-03-04T17:05:09", false},
        {"2011-02-29 10:00:00", false},
        {"2011-02-30 10:00:00", false},
        {"1900-02-29 10:00:00", false},
        {"2011-04-31 10:00:00", false},
        {"2011-13-01 10:00:00", false},
        {"2011-00-01 10:00:00", false},
        {"2011-01-00 10:00:00", false},
        {"0000-01-01 10:00:00", false},
        {"2011-01-01 24:00:00", false},
        {"2011-01-01 23:60:00", false},
        {"2011-01-01 23:59:60", false},
        {"2011-1-01 10:00:00", false},
        {"2011-01-01 10:00", false},
        {"2011-01-01", false},
        {"", false},
        {"now", false},
        {"2011-01-01 10:00:00' OR '1'='1", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SqlValueCheck::IsValidTimestamp(c.first), c.second) << "'" << c.first << "'";
    }
}

TEST(SqlValueCheckTest, FindsNulBytes) {
    EXPECT_FALSE(SqlValueCheck::HasNulByte("plain text"));
    EXPECT_TRUE(SqlValueCheck::HasNulByte(std::string("a\0b", 3)));
}

}  // namespace
