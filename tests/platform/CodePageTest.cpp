#include "CodePage.h"
#include "PlatformTest.h"

namespace {

TEST(TheCodePage, RoundTripsEveryByteAndPassesInvalidUtf8Unchanged) {
    ByteArray all;
    for (int byte = 0; byte < 256; ++byte)
        all.push_back(std::uint8_t(byte));
    EXPECT_EQ(platform::AnsiFromText(platform::TextFromAnsi(all)), all);
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"euro sign", "\xE2\x82\xAC", "\x80"},
        {"umlaut", "\xC3\xBC", "\xFC"},
        {"Z with caron", "\xC5\xBD", "\x8E"},
        {"a character that it lacks", "a\xE4\xB8\xAD z", "a? z"},
        {"a character of four bytes", "\xF0\x9F\x98\x80", "?"},
        {"a lead byte at the end", "ab\xC3", "ab\xC3"},
        {"a lead byte before a letter", "\xC3z", "\xC3z"},
        {"a follower alone", "\xA9", "\xA9"},
        {"an over-long form of two bytes", "\xC1\x81", "\xC1\x81"},
        {"an over-long form of three bytes", "\xE0\x83\xBF", "\xE0\x83\xBF"},
        {"a surrogate", "\xED\xA0\x80", "\xED\xA0\x80"},
        {"no lead byte at all", "\xF5\x80\x80\x80", "\xF5\x80\x80\x80"}};
    for (const auto& [name, text, ansi] : cases)
        EXPECT_EQ(platform::AnsiFromText(text), TextBytes(ansi)) << name;
}

TEST(Numbers, AreReadFromTheStartOfAText) {
    const std::pair<const char*, double> cases[] = {
        {"", 0},        {"12 rows", 12}, {"  -7.5x", -7.5}, {"1 2", 12}, {"+3", 3},  {"x1", 0},   {".5", .5},
        {"1.2.3", 1.2}, {"--1", 0},      {"-", 0},          {"3,14", 3}, {"inf", 0}, {"0x10", 0}, {"7-1", 7}};
    for (const auto& [text, number] : cases)
        EXPECT_EQ(platform::LeadingNumber(text), number) << text;
}

TEST(Numbers, FillTheWholeTextAndFit32BitsOrRaiseAFailure) {
    const std::pair<const char*, double> cases[] = {
        {" 42 ", 42}, {"+42", 42},  {"-2147483648", -2147483648.0}, {"2147483647", 2147483647}, {"2.5", 2},
        {"3.5", 4},   {"1e3", 1000}};
    for (const auto& [text, number] : cases)
        EXPECT_EQ(platform::NumberFromText(text), number) << text;
    for (const char* tooBig : {"2147483648", "-2147483649", "1e400"})
        EXPECT_EQ(FailureOf([&] { platform::NumberFromText(tooBig); }), 6) << tooBig;
    for (const char* noNumber : {"", "12a", "+-1", "nan", "inf", "1,5", "0x10", "1 2"})
        EXPECT_EQ(FailureOf([&] { platform::NumberFromText(noNumber); }), 13) << noNumber;
}

} // namespace
