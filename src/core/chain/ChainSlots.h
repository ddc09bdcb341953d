#pragma once

#include "chain/FilterChain.h"
#include "memory/RtSection.h"
#include "stream/StreamFormat.h"

#include <atomic>
#include <cstdint>

namespace tovix {

/// [control] Frames of a fade at this rate: 10 ms, truncated; 0 for a rate that is not a positive number.
std::uint32_t crossfadeFramesAt(float sampleRateHz) noexcept;

/// The three chains of a stream and the hand-over between the thread that builds them and the audio thread.
///
/// A chain is published as pending, is faded in over 10 ms on the audio thread with a raised-cosine (Hann half
/// window) weight, and becomes current at the end of the block in which the fade completes; the chain before it
/// is then retired until a control thread frees it.
///
/// One change is in flight at a time. To publish, a thread must hold the token, a semaphore of count 1. It gives the
/// token up with a pending chain; `process` returns true when the token is due back. Where publishing makes the chain
/// current at once, the caller keeps the token. The token belongs to the owner of this object, so that a control
/// thread can wait for it in its own way.
///
/// Written by control threads: everything while no block is processed; the pending and retired chain while they
/// hold the token. Written by the audio thread: the three chains at a swap, the fade position.
class ChainSlots {
public:
    /// [control] No chain yet.
    ChainSlots() noexcept = default;
    ChainSlots(const ChainSlots&) = delete;
    ChainSlots& operator=(const ChainSlots&) = delete;
    /// [control] Frees all chains. Not while a block is processed.
    ~ChainSlots();

    /// [control] Frees all chains and takes a new format. Not while a block is processed.
    void reset(const StreamFormat& format) noexcept;

    /// [control] Frees the retired chain. The caller holds the token.
    void freeRetired() noexcept;

    enum class Published { current, pending };

    /// [control] Publishes a chain (not null): pending when there is a current one, else current at once. The
    /// caller holds the token; at `pending` it passes to the audio thread.
    Published publish(RtPtr<FilterChain> chain) noexcept;

    /// [control] Whether there is a current chain.
    [[nodiscard]] bool plays() const noexcept { return m_pCurrent.load(std::memory_order_acquire) != nullptr; }

    /// [audio] Processes one block of interleaved samples; `output` and `input` may be the same buffer. Longer
    /// blocks than the format's maximum are processed in pieces, or pass where pieces cannot share a buffer. Without
    /// any chain the samples pass unchanged. Returns true when a pending chain has become current, which makes the
    /// token due.
    [[nodiscard]] bool process(float* output, const float* input, std::uint32_t frameCount) noexcept RT_SECTION;

private:
    bool processPiece(float* output, const float* input, std::uint32_t frameCount) noexcept RT_SECTION;
    void fade(float* const* current, float* const* pending, std::uint32_t frameCount) noexcept RT_SECTION;
    void passThrough(float* output, const float* input, std::uint32_t frameCount) const noexcept RT_SECTION;
    void freeChain(std::atomic<FilterChain*>& slot) noexcept;

    StreamFormat m_format;
    std::atomic<FilterChain*> m_pCurrent{nullptr};
    std::atomic<FilterChain*> m_pPending{nullptr};
    std::atomic<FilterChain*> m_pRetired{nullptr};
    std::uint32_t m_crossfadePosition = 0;
    std::uint32_t m_crossfadeFrames = 0;
};

} // namespace tovix
