#include "apo/EngineBlock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace tovix::test {
namespace {

class CopyingEffect final : public IOwnEffect {
public:
    void process(float* output, const float* input, std::uint32_t frameCount) noexcept override {
        std::copy_n(input, frameCount, output);
    }
};

TEST(EngineBlock, IncompleteConnectionsAreNotFollowed) {
    CopyingEffect effect;
    using Property = APO_CONNECTION_PROPERTY;
    const std::array<float, 2> untouched{7, 7};
    std::array<float, 2> in{1, 2};
    std::array<float, 2> out{};
    Property source{reinterpret_cast<UINT_PTR>(in.data()), 2, BUFFER_VALID, APO_CONNECTION_PROPERTY_SIGNATURE};
    Property target = source;
    Property sourceWithout = source;
    sourceWithout.pBuffer = 0;
    Property* pSource = &source;
    Property* pSourceWithout = &sourceWithout;
    Property* pTarget = &target;
    Property* pNone = nullptr;
    const struct {
        EngineBlock block;
        bool outputBuffer;
        APO_BUFFER_FLAGS flags;
        std::array<float, 2> written;
    } cases[] = {
        {{0, &pSource, 1, &pTarget}, true, BUFFER_INVALID, untouched},
        {{1, &pSource, 0, &pTarget}, true, BUFFER_INVALID, untouched},
        {{1, nullptr, 1, &pTarget}, true, BUFFER_INVALID, untouched},
        {{1, &pSource, 1, nullptr}, true, BUFFER_INVALID, untouched},
        {{1, &pNone, 1, &pTarget}, true, BUFFER_INVALID, untouched},
        {{1, &pSource, 1, &pNone}, true, BUFFER_INVALID, untouched},
        {{1, &pSource, 1, &pTarget}, false, BUFFER_SILENT, untouched},
        {{1, &pSourceWithout, 1, &pTarget}, true, BUFFER_SILENT, {0, 0}},
        {{1, &pSource, 1, &pTarget}, true, BUFFER_VALID, {1, 2}},
    };
    for (const auto& c : cases) {
        out = untouched;
        target = {c.outputBuffer ? reinterpret_cast<UINT_PTR>(out.data()) : 0, 2, BUFFER_INVALID,
                  APO_CONNECTION_PROPERTY_SIGNATURE};
        processEngineBlock(c.block, {{1, 1, 1}, false, nullptr}, effect);
        EXPECT_EQ(target.u32BufferFlags, c.flags) << "case " << &c - cases;
        EXPECT_EQ(out, c.written) << "case " << &c - cases;
    }
}

} // namespace
} // namespace tovix::test
