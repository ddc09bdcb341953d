#include "support/ModuleUnderTest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <optional>

namespace tovix::test {
namespace {

constexpr GUID integerSubtype{0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
constexpr UNCOMPRESSEDAUDIOFORMAT integerFormat{integerSubtype, 2, 2, 16, 48000.0F, 3};

TEST(FormatNegotiation, MakesAProposalWhereverTheFormatCanBeMended) {
    const ModuleUnderTest module;
    const Effect effect(module.create());
    using Format = UNCOMPRESSEDAUDIOFORMAT;
    constexpr HRESULT refused = APOERR_FORMAT_NOT_SUPPORTED;
    const struct {
        const char* description;
        /// None for a null one, which means any.
        std::optional<Format> opposite;
        Format request;
        HRESULT asInput;
        HRESULT asOutput; // without the rule for many channels
        std::optional<Format> proposal;
    } cases[] = {
        {"six into two", floatFormat(2, 48000, 3), floatFormat(6), S_FALSE, S_OK, floatFormat(2, 48000, 3)},
        {"another rate", floatFormat(2), floatFormat(2, 44100), S_FALSE, S_FALSE, floatFormat(2)},
        {"no float", floatFormat(2), integerFormat, S_FALSE, S_FALSE, floatFormat(2, 48000, 3)},
        {"too slow", floatFormat(2, 10), floatFormat(2, 5), S_FALSE, S_FALSE, floatFormat(2, 10)},
        {"too fast", floatFormat(2, 384000), floatFormat(2, 400000), S_FALSE, S_FALSE, floatFormat(2, 384000)},
        {"no rate", floatFormat(2, 10), floatFormat(2, std::nanf("")), S_FALSE, S_FALSE, floatFormat(2, 10)},
        {"no channel", floatFormat(2), floatFormat(0), S_FALSE, S_FALSE, floatFormat(1)},
        {"too many channels", floatFormat(4096), floatFormat(5000), S_FALSE, S_FALSE, floatFormat(4096)},
        {"any other, six", {}, floatFormat(6), S_OK, S_OK, {}},
        {"any other, no float", {}, integerFormat, S_FALSE, S_FALSE, floatFormat(2, 48000, 3)},
        {"the other is no float", integerFormat, floatFormat(2), refused, refused, {}},
        {"the other is too fast", floatFormat(2, 400000), floatFormat(2), refused, refused, {}},
    };
    for (std::size_t i = 0; i < 2 * std::size(cases); ++i) {
        const auto& c = cases[i / 2];
        const bool input = i % 2 == 0;
        SCOPED_TRACE(testing::Message() << c.description << (input ? ", input" : ", output"));
        const HRESULT result = input ? c.asInput : c.asOutput;
        FormatDouble known(c.opposite.value_or(Format{}));
        FormatDouble* const pOpposite = c.opposite ? &known : nullptr;
        FormatDouble request(c.request);
        const Negotiation negotiation = negotiate(*effect.apo, pOpposite, &request, input);
        EXPECT_EQ(negotiation.result, result);
        EXPECT_EQ(negotiation.pHandedOut == &request, result == S_OK);
        EXPECT_EQ(negotiation.pHandedOut == nullptr, FAILED(result));
        EXPECT_EQ(request.references, 1U);
        EXPECT_EQ(known.references, 1U);
        if (result == S_FALSE) {
            EXPECT_EQ(std::memcmp(&negotiation.proposed, &*c.proposal, sizeof(Format)), 0);
        }
    }
}

TEST(FormatNegotiation, NullAndUnreadableFormatsAreNotFollowed) {
    const ModuleUnderTest module;
    const Effect effect(module.create());
    FormatDouble good(floatFormat(2));
    FormatDouble bad(floatFormat(2), E_UNEXPECTED);
    EXPECT_EQ(effect.apo->IsInputFormatSupported(&good, &good, nullptr), E_POINTER);
    EXPECT_EQ(effect.apo->IsOutputFormatSupported(&good, &good, nullptr), E_POINTER);
    const struct {
        FormatDouble* pOpposite;
        FormatDouble* pRequest;
        HRESULT result;
    } cases[] = {{&good, nullptr, E_POINTER}, {&bad, &good, E_UNEXPECTED}, {&good, &bad, E_UNEXPECTED}};
    for (const auto& c : cases) {
        for (const bool input : {true, false}) {
            const Negotiation negotiation = negotiate(*effect.apo, c.pOpposite, c.pRequest, input);
            EXPECT_EQ(negotiation.result, c.result);
            EXPECT_EQ(negotiation.pHandedOut, nullptr);
        }
    }
}

} // namespace
} // namespace tovix::test
