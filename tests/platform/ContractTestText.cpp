#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

template <typename... Arguments>
std::string Formatted(std::size_t capacity, const WCHAR* format, Arguments... arguments) {
    WCHAR buffer[64];
    std::fill_n(buffer, 64, WCHAR{'#'});
    const std::size_t length = WideFormat(buffer, capacity, format, arguments...);
    EXPECT_EQ(buffer[length], 0);
    EXPECT_EQ(buffer[capacity], '#') << "wrote behind the buffer";
    return Narrow(buffer);
}

TEST(ContractText, FormatsEveryConversion) {
    const std::pair<std::string, std::string> table[] = {
        {Formatted(40, WIDE("[%s]:[%d]."), WIDE("n\u00e9"), -5), "[n\u00e9]:[-5]."},
        {Formatted(40, WIDE("%s"), static_cast<const WCHAR*>(nullptr)), "(null)"},
        {Formatted(40, WIDE("%6s|%-6s|%c"), WIDE("ab"), WIDE("ab"), 'z'), "    ab|ab    |z"},
        {Formatted(40, WIDE("%05d|%-5d|%5i"), -42, -42, -42), "-0042|-42  |  -42"},
        {Formatted(40, WIDE("%u %08x %X"), 4000000000U, 0xBEEFU, 0xBEEFU),
         "4000000000 0000beef BEEF"},
        {Formatted(40, WIDE("%ld %lu"), LONG{-2147483647 - 1}, DWORD{4294967295U}),
         "-2147483648 4294967295"},
        {Formatted(50, WIDE("%I64d %I64u"), LONGLONG{INT64_MIN}, UINT64_MAX),
         "-9223372036854775808 18446744073709551615"},
        {Formatted(40, WIDE("100%% %d %q %d"), 7, 8), "100% 7 %q %d"},
        {Formatted(40, WIDE("end %")), "end %"},
        {Formatted(6, WIDE("%s"), WIDE("abcdefgh")), "abcde"},
        {Formatted(6, WIDE("%99d"), 1), "     "},
        {Formatted(1, WIDE("abc")), ""},
    };
    for (const auto& [text, expected] : table) {
        EXPECT_EQ(text, expected);
    }
}

TEST(ContractText, WhatIsNotUnicodeIsReplacedUnitByUnit) {
    const std::pair<std::string, std::size_t> table[] = {{"\x80", 1},
                                                         {"\xC0\xAF", 2},
                                                         {"\xE2\x82", 2},
                                                         {"\xED\xA0\x80", 3},
                                                         {"\xF5\x80\x80\x80", 4}};
    for (const auto& [bad, count] : table) {
        EXPECT_EQ(Wide("a" + bad), WIDE("a") + WString(count, WCHAR{0xFFFD}));
    }
    const WCHAR lone[] = {0xDE00, 'a', 0xD83D, 0};
    EXPECT_EQ(Narrow(lone), "\uFFFDa\uFFFD");
    EXPECT_FALSE(IsValidUtf16(lone));
    EXPECT_EQ(Wide("\u00e9\u20ac\U0001F600"), WIDE("\u00e9\u20ac\U0001F600"));
    EXPECT_TRUE(IsValidUtf16(WIDE("\U0001F600")));
}

}  // namespace
