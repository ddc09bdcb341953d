#include "log/Log.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

namespace tovix::test {
namespace {

const LogLocation here{"Class::Method", "helpers\\Source", 12};
constexpr const char* head = "INFO [7] [this=0x0000000000000000] [Class::Method@Source:12] ";

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

TEST(LogLine, LongLocationTagIsCutAndAThreadNumberIsSigned) {
    const LogCapture capture(LogLevel::Info);
    installLogBackend({[](const char*) noexcept {}, []() noexcept { return std::uint32_t{0xFFFFFFFF}; }});
    const std::string function(200, 'f');
    const LogLine line(LogLevel::Info, {function.c_str(), "S", 1}, nullptr);
    EXPECT_EQ(line.c_str(), "INFO [-1] [this=0x0000000000000000] [" + std::string(98, 'f'));
}

TEST(LogLine, NumbersPassASixteenCharacterBufferAndHexadecimalHoldsForOneOnly) {
    const struct {
        std::function<void(LogLine&)> fill;
        const char* expected;
    } cases[] = {
        {[](LogLine& l) { l.number(std::uint32_t{4294967295}); }, "4294967295"},
        {[](LogLine& l) { l.number(std::numeric_limits<std::uint64_t>::max()); }, "184467440737095"},
        {[](LogLine& l) { l.result(static_cast<std::int32_t>(0x80070057)).result(0); }, "-21470248090"},
        {[](LogLine& l) { l.real(-0.5); }, "-0.500000"},
        {[](LogLine& l) { l.real(1234567.0000005); }, "1234567.000000"},
        {[](LogLine& l) { l.real(1e300); }, "100000000000000"},
        {[](LogLine& l) { l.hexNext().number(std::uint32_t{48879}).number(std::uint32_t{48879}); }, "BEEF48879"},
        {[](LogLine& l) { l.hexNext().result(-2).result(-2); }, "FFFFFFFE-2"},
        {[](LogLine& l) { l.hexNext().number(std::uint64_t{0xFEDCBA9876543210}); }, "FEDCBA987654321"},
        {[](LogLine& l) { l.hexNext().real(1.0).number(std::uint32_t{10}); }, "1.00000010"},
        {[](LogLine& l) { l.text(L"a\u00e4\u20ac\U0001F50A"); }, "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\x8A"},
    };
    const LogCapture capture(LogLevel::Info);
    for (const auto& c : cases) {
        LogLine line(LogLevel::Info, here, nullptr);
        c.fill(line);
        EXPECT_EQ(line.c_str(), head + std::string(c.expected));
    }
}

TEST(LogLine, EndsAt255CharactersAndIsStillWritten) {
    const LogCapture capture(LogLevel::Info);
    const std::size_t room = 255 - std::string(head).size();
    for (const std::size_t length : {room - 1, room, room + 1, room + 1000}) {
        const std::string text(length, 'x');
        LogLine(LogLevel::Info, here, nullptr).text(text).write();
        EXPECT_EQ(LogCapture::lines().back(), head + text.substr(0, room));
    }
    EXPECT_EQ(LogCapture::lines().size(), 4U);
    LogLine full(LogLevel::Info, here, nullptr);
    full.text(std::string(room, 'x')).text("y").number(std::uint32_t{1}).text(L"\u00e4");
    EXPECT_EQ(full.c_str(), head + std::string(room, 'x'));
}

} // namespace
} // namespace tovix::test
