#include "log/Log.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

namespace tovix::test {
namespace {

const LogLocation here{"Class::Method", "helpers\\Source", 12};
constexpr const char* head = "INFO [7] [this=0x0000000000000000] [Class::Method@Source:12] ";

/// What stands after the head of an INFO line that `fill` has filled.
std::string message(const std::function<void(LogLine&)>& fill) {
    const LogCapture capture(LogLevel::Info);
    LogLine line(LogLevel::Info, here, nullptr);
    fill(line);
    const std::string text = line.c_str();
    EXPECT_EQ(text.substr(0, std::string(head).size()), head);
    return text.substr(std::string(head).size());
}

TEST(LogLine, HeadNamesLevelThreadObjectAndPlace) {
    const LogCapture capture(LogLevel::Debug);
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
        EXPECT_STREQ(LogLine(c.level, {"F::g", c.source, 3}, pObject).c_str(), c.expected);
    }
}

TEST(LogLine, PlaceIsTheStatementThatLogs) {
    const LogCapture capture(LogLevel::Info);
    const LogLine line(LogLevel::Info, {"F::g", "S"}, nullptr);
    const int lineNumber = __LINE__ - 1;
    EXPECT_STREQ(line.c_str(),
                 ("INFO [7] [this=0x0000000000000000] [F::g@S:" + std::to_string(lineNumber) + "] ").c_str());
}

TEST(LogLine, LocationTagIsCutAtNinetyNineCharacters) {
    const LogCapture capture(LogLevel::Info);
    const std::string function(200, 'f');
    const LogLine line(LogLevel::Info, {function.c_str(), "S", 1}, nullptr);
    EXPECT_EQ(std::string(line.c_str()), "INFO [7] [this=0x0000000000000000] [" + std::string(98, 'f'));
}

TEST(LogLine, ThreadNumberIsSigned) {
    const LogCapture capture(LogLevel::Info);
    installLogBackend({[](const char*) noexcept {}, []() noexcept { return std::uint32_t{0xFFFFFFFF}; }});
    EXPECT_EQ(std::string(LogLine(LogLevel::Info, here, nullptr).c_str()).substr(0, 10), "INFO [-1] ");
}

TEST(LogLine, NumbersPassASixteenCharacterBuffer) {
    const auto expect = [](const std::function<void(LogLine&)>& fill, const char* expected) {
        EXPECT_EQ(message(fill), expected);
    };
    expect([](LogLine& l) { l.number(std::uint32_t{4294967295}); }, "4294967295");
    expect([](LogLine& l) { l.number(std::uint64_t{123456789012345}); }, "123456789012345");
    expect([](LogLine& l) { l.number(std::numeric_limits<std::uint64_t>::max()); }, "184467440737095");
    expect([](LogLine& l) { l.result(static_cast<std::int32_t>(0x80070057)); }, "-2147024809");
    expect([](LogLine& l) { l.result(0); }, "0");
    expect([](LogLine& l) { l.real(-0.5); }, "-0.500000");
    expect([](LogLine& l) { l.real(1234567.0000005); }, "1234567.000000");
    expect([](LogLine& l) { l.real(1e300); }, "100000000000000");
    expect([](LogLine& l) { l.real(std::numeric_limits<double>::infinity()); }, "inf");
}

TEST(LogLine, HexadecimalHoldsForOneNumberOnly) {
    const auto expect = [](const std::function<void(LogLine&)>& fill, const char* expected) {
        EXPECT_EQ(message(fill), expected);
    };
    expect([](LogLine& l) { l.hexNext().number(std::uint32_t{48879}).text(" ").number(std::uint32_t{48879}); },
           "BEEF 48879");
    expect([](LogLine& l) { l.hexNext().result(-2).result(-2); }, "FFFFFFFE-2");
    expect([](LogLine& l) { l.hexNext().number(std::uint64_t{0xFEDCBA9876543210}); }, "FEDCBA987654321");
    expect([](LogLine& l) { l.hexNext().real(1.0).number(std::uint32_t{10}); }, "1.00000010");
    expect([](LogLine& l) { l.hexNext().text("ff").number(std::uint32_t{255}); }, "ffFF");
}

TEST(LogLine, EndsAt255CharactersAndIsStillWritten) {
    const LogCapture capture(LogLevel::Info);
    const std::size_t room = 255 - std::string(head).size();
    for (const std::size_t length : {room - 1, room, room + 1, room + 1000}) {
        LogCapture::lines().clear();
        const std::string text(length, 'x');
        LogLine(LogLevel::Info, here, nullptr).text(text).write();
        ASSERT_EQ(LogCapture::lines().size(), 1U);
        EXPECT_EQ(LogCapture::lines().front(), head + text.substr(0, room));
    }
    LogLine full(LogLevel::Info, here, nullptr);
    full.text(std::string(room, 'x')).text("y").number(std::uint32_t{1}).text(L"\u00e4");
    EXPECT_EQ(std::string(full.c_str()), head + std::string(room, 'x'));
}

TEST(LogLine, WideTextIsWrittenAsUtf8) {
    EXPECT_EQ(message([](LogLine& l) { l.text(L"a\u00e4\u20ac\U0001F50A"); }),
              "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\x8A");
}

} // namespace
} // namespace tovix::test
