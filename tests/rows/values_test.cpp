#include "Db/Tbl/OVDBDataType.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <string>

namespace {

template <class Typed> std::string textOf(const Typed& value) {
    value.setString();
    return value.getStr();
}

TEST(TypedValues, BeginAsNullAndTakeAValueAsAChange) {
    const OVDB_int none;
    EXPECT_TRUE(none.null);
    EXPECT_EQ(none.updated, kNotUpdated);
    EXPECT_EQ(none.getStr(), "") << "no text form before setString()";
    const OVDB_int five(5);
    EXPECT_FALSE(five.null);
    EXPECT_EQ(five.updated, kUpdated);
    EXPECT_TRUE(OVDB_string().null);
    EXPECT_TRUE(OVDB_string(nullptr).null);
    const OVDB_string empty("");
    EXPECT_FALSE(empty.null) << "an empty text is a value";
    EXPECT_EQ(empty.updated, kUpdated);
}

TEST(TypedValues, TellTheirKindAndTextForm) {
    EXPECT_EQ(textOf(OVDB_int(INT_MIN)), "-2147483648");
    EXPECT_EQ(textOf(OVDB_int(INT_MAX)), "2147483647");
    EXPECT_EQ(textOf(OVDB___int64(LLONG_MIN)), "-9223372036854775808");
    EXPECT_EQ(textOf(OVDB_string(std::string(300, 'x').c_str())), std::string(300, 'x'));
    EXPECT_EQ(OVDB_int().getDataType(), 1);
    EXPECT_EQ(OVDB___int64().getDataType(), 4);
    EXPECT_EQ(OVDB_string().getDataType(), 6);
    EXPECT_STREQ(OVDB_int().getFormatString(), "%d");
    EXPECT_EQ(OVDB_string().getFormatString(), nullptr);
}

TEST(TypedValues, OnlyAChangeOfNullClearsTheStateAndEmptiesATextThatBecomesNull) {
    OVDB_string text("abc");
    text.state = 7;
    text.setInternalNull(false);
    EXPECT_EQ(text.state, 7);
    EXPECT_EQ(text.value, "abc");
    text.setInternalNull(true);
    EXPECT_EQ(text.state, 0);
    EXPECT_EQ(text.value, "");
    text.value = "put in by hand";
    text.setInternalNull(true);
    EXPECT_EQ(text.value, "put in by hand");
    OVDB_int number(5);
    number.setInternalNull(true);
    EXPECT_EQ(number.value, 5) << "integers hold no memory to release";
}

TEST(TypedValues, RawBytesReplacePartOfANumberAndNothingBeyondIt) {
    struct Case {
        int offset;
        int length;
        bool taken;
    };
    const Case cases[] = {{0, 4, true},   {2, 2, true},        {4, 0, true},        {0, 0, true},
                          {0, 5, false},  {3, 2, false},       {5, 0, false},       {-1, 2, false},
                          {0, -1, false}, {INT_MAX, 1, false}, {1, INT_MAX, false}, {INT_MAX, INT_MAX, false}};
    const char bytes[] = "\x01\x02\x03\x04";
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.offset) + ", " + std::to_string(c.length));
        OVDB_int number(-1);
        number.state = 7;
        std::string expected(4, '\xFF');
        if (c.taken)
            std::memcpy(expected.data() + c.offset, bytes, static_cast<std::size_t>(c.length));
        EXPECT_EQ(number.setData(bytes, c.offset, c.length, true), c.taken);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(&number.value), sizeof number.value), expected);
        EXPECT_EQ(number.state, c.taken ? 0 : 7);
    }
}

TEST(TypedValues, ATextEndsWhereTheCopiedBytesEnd) {
    OVDB_string text("abcdef");
    EXPECT_TRUE(text.setData("XY\0Z", 2, 4, false));
    EXPECT_EQ(text.value, std::string("abXY\0Z", 6));
    EXPECT_TRUE(text.setData(nullptr, 0, 0, false));
    EXPECT_EQ(text.value, "");
    EXPECT_FALSE(text.setData("x", 1, 1, false));
    EXPECT_FALSE(text.setData("x", -1, 1, false));
    EXPECT_FALSE(text.setData("x", 0, -1, false));
    EXPECT_EQ(text.value, "");
}

} // namespace
