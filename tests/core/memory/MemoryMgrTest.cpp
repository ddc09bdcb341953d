#include "memory/MemoryMgr.h"

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

using namespace tovix;

namespace {

/// A real-time allocator with one block, handed out at a chosen misalignment.
struct OneBlock {
    alignas(16) static inline std::array<unsigned char, 256> storage;
    static inline std::size_t misalignment = 0;
    static inline bool refuses = false;
    static inline bool failsToFree = false;
    static inline void* released = nullptr;
    static inline std::size_t asked = 0;

    static RtResult allocate(std::size_t sizeBytes, void** ppBlock) noexcept {
        asked = sizeBytes;
        if (refuses) {
            return -1;
        }
        *ppBlock = storage.data() + misalignment;
        return 0;
    }
    static RtResult release(void* pBlock) noexcept {
        released = pBlock;
        return failsToFree ? static_cast<RtResult>(0x80070057) : 0;
    }
};

class MemoryMgrTest : public testing::Test {
protected:
    void SetUp() override {
        OneBlock::misalignment = 0;
        OneBlock::refuses = OneBlock::failsToFree = false;
        OneBlock::released = nullptr;
        installRtAllocator({OneBlock::allocate, OneBlock::release});
    }
    void TearDown() override { installRtAllocator(m_before); }

    RtAllocator m_before = rtAllocator();
};

TEST_F(MemoryMgrTest, AnyAlignmentOfTheRealTimeAllocatorGivesAnAlignedBlockThatGoesBackWhole) {
    constexpr std::size_t size = 100;
    for (std::size_t misalignment = 0; misalignment < 16; ++misalignment) {
        OneBlock::misalignment = misalignment;
        auto* const pBlock = static_cast<unsigned char*>(MemoryMgr::alloc(size));
        const auto* const pRaw = OneBlock::storage.data() + misalignment;
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(pBlock) % 16, 0U);
        EXPECT_EQ(pBlock[-1], 16 - misalignment) << "an aligned address moves by a full 16";
        EXPECT_LE(pBlock + size, pRaw + OneBlock::asked);
        std::memset(pBlock, 0xAA, size);
        MemoryMgr::free(pBlock);
        EXPECT_EQ(OneBlock::released, pRaw);
    }
}

TEST_F(MemoryMgrTest, HeapServesWhatTheRealTimeAllocatorRefusesAndTakesItBack) {
    OneBlock::refuses = true;
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{100000}}) {
        auto* const pBlock = static_cast<unsigned char*>(MemoryMgr::alloc(size));
        ASSERT_NE(pBlock, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pBlock) % 16, 0U);
        EXPECT_GE(pBlock[-1], 17);
        EXPECT_LE(pBlock[-1], 32);
        std::memset(pBlock, 0xAA, size);
        MemoryMgr::free(pBlock);
        EXPECT_EQ(OneBlock::released, nullptr) << "the real-time allocator must not see a heap block";
    }
}

TEST_F(MemoryMgrTest, FailuresAreLoggedOnlyWhereTheLevelAsksForIt) {
    const test::LogCapture capture(LogLevel::Error);
    OneBlock::failsToFree = true;
    MemoryMgr::free(MemoryMgr::alloc(8));
    OneBlock::refuses = true;
    EXPECT_EQ(MemoryMgr::alloc(std::size_t{1} << 60), nullptr);
    ASSERT_EQ(capture.lines().size(), 2U);
    EXPECT_TRUE(capture.lines()[0].starts_with("ERROR [7] [this=0x0000000000000000] [MemoryMgr::free@MemoryMgr:"));
    EXPECT_TRUE(capture.lines()[0].ends_with("] Failed to free memory. Error= -2147024809"));
    EXPECT_TRUE(capture.lines()[1].ends_with("] Failed to allocate 115292150460684 bytes"))
        << "a number keeps 15 characters: " << capture.lines()[1];
    setLogLevel(LogLevel::Fatal);
    EXPECT_EQ(MemoryMgr::alloc(std::size_t{1} << 60), nullptr);
    EXPECT_EQ(capture.lines().size(), 2U);
}

} // namespace
