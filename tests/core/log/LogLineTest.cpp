#include "log/Log.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>

namespace tovix::test {
namespace {

const LogHead here{LogLevel::Info, 7, nullptr, "Class::Method", "helpers\\Source", 12};
constexpr const char* head = "INFO [7] [this=0x0000000000000000] [Class::Method@Source:12] ";

TEST(LogLine, HeadNamesLevelSignedThreadObjectAndPlaceAndCutsALongPlace) {
    const auto* const pObject = reinterpret_cast<const void*>(std::uintptr_t{0x7FFE12ABCD});
    const struct {
        LogLevel level;
        const char* source;
        const char* expected;
    } cases[] = {
        {LogLevel::Fatal, "Tovix", "FATAL [7] [this=0x0000007FFE12ABCD] [F::g@Tovix:3] "},
        {LogLevel::Error, "filters\\EffectFactoryBoost",
         "ERROR [7] [this=0x0000007FFE12ABCD] [F::g@EffectFactoryBoost:3] "},
        {LogLevel::Warning, "a/b\\c", "WARNING [7] [this=0x0000007FFE12ABCD] [F::g@b\\c:3] "},
        {LogLevel::Info, "a\\b/c", "INFO [7] [this=0x0000007FFE12ABCD] [F::g@c:3] "},
        {LogLevel::Debug, "", "DEBUG [7] [this=0x0000007FFE12ABCD] [F::g@:3] "},
    };
    for (const auto& c : cases) {
        EXPECT_STREQ(LogLine({c.level, 7, pObject, "F::g", c.source, 3}).c_str(), c.expected);
    }
    const std::string function(200, 'f');
    const LogLine line({LogLevel::Info, 0xFFFFFFFF, nullptr, function.c_str(), "S", 1});
    EXPECT_EQ(line.c_str(), "INFO [-1] [this=0x0000000000000000] [" + std::string(98, 'f'));
}

TEST(FunctionLog, WritesTheStatementsLineWithAllPartsWhereTheLevelIsEnabled) {
    const LogCapture capture(LogLevel::Warning);
    const FunctionLog log("F::g", "S", nullptr);
    log.error("text ", std::uint32_t{4000000000}, L" wide ", std::int32_t{-2147024809}, " ", 0.5F, true);
    const int statementLine = __LINE__ - 1;
    log.warning({"at a line of its own", 30});
    log.info("above the level");
    const std::vector<std::string> expected{
        "ERROR [7] [this=0x0000000000000000] [F::g@S:" + std::to_string(statementLine) +
            "] text 4000000000 wide -2147024809 0.5000001",
        "WARNING [7] [this=0x0000000000000000] [F::g@S:30] at a line of its own",
    };
    EXPECT_EQ(LogCapture::lines(), expected);
}

TEST(LogLine, NumbersPassASixteenCharacterBufferAndHexadecimalHoldsForOneOnly) {
    const struct {
        std::function<void(LogLine&)> fill;
        const char* expected;
    } cases[] = {
        {[](LogLine& l) { l.number(std::uint32_t{4294967295}); }, "4294967295"},
        {[](LogLine& l) { l.number(std::numeric_limits<std::uint64_t>::max()); }, "184467440737095"},
        {[](LogLine& l) { l.result(static_cast<std::int32_t>(0x80070057)).result(0); }, "-21470248090"},
        {[](LogLine& l) { l.real(HUGE_VAL).real(-HUGE_VAL).real(NAN); }, "inf-infnan"},
        {[](LogLine& l) { l.real(0x1p-7).real(0x3p-7); }, "0.0078120.023438"}, // halves go to the even digit
        {[](LogLine& l) { l.hexNext().number(std::uint32_t{48879}).number(std::uint32_t{48879}); }, "BEEF48879"},
        {[](LogLine& l) { l.hexNext().result(-2).result(-2); }, "FFFFFFFE-2"},
        {[](LogLine& l) { l.hexNext().number(std::uint64_t{0xFEDCBA9876543210}); }, "FEDCBA987654321"},
        {[](LogLine& l) { l.hexNext().real(1.0).number(std::uint32_t{10}); }, "1.00000010"},
        {[](LogLine& l) { l.text(L"a\u00e4\u20ac\U0001F50A"); }, "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\x8A"},
    };
    for (const auto& c : cases) {
        LogLine line(here);
        c.fill(line);
        EXPECT_EQ(line.c_str(), head + std::string(c.expected));
    }
}

TEST(LogLine, RealNumbersHaveTheDigitsOfTheCLibrary) {
    for (const double value : {0.0, 48000.0, 44100.5, 22050.25, 0.0000005, 0.0000015, 2.5e-7, 0.9999995, 999.9999995,
                               1e-300, 5e-324, 0x1p-20, 123456.7890125, 4503599627370497.5, 9007199254740993.0,
                               18446744073709551616.0, 1e22, 3.4028234663852886e38, 1.7976931348623157e308}) {
        for (const double signedValue : {value, -value}) {
            std::array<char, 400> expected{};
            std::snprintf(expected.data(), expected.size(), "%f", signedValue);
            LogLine line(here);
            line.real(signedValue);
            EXPECT_EQ(line.c_str(), head + std::string(expected.data()).substr(0, 15)) << value;
        }
    }
}

TEST(LogLine, EndsAt255Characters) {
    const std::size_t room = 255 - std::string(head).size();
    for (const std::size_t length : {room - 1, room, room + 1, room + 1000}) {
        const std::string text(length, 'x');
        EXPECT_EQ(LogLine(here).text(text).c_str(), head + text.substr(0, room));
    }
}

} // namespace
} // namespace tovix::test
