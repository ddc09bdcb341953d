#pragma once

namespace tovix::test {

/// While it lives, the n-th request that this program's own code makes of malloc on this thread is refused, and the
/// balance of its blocks is kept. Shared libraries are not concerned: the test program is linked with
/// --wrap=malloc,--wrap=free, which redirects the calls of its own objects alone.
class MallocRefusal {
public:
    /// `nth` counts from 1; 0 refuses nothing.
    explicit MallocRefusal(int nth) noexcept;
    ~MallocRefusal();
    MallocRefusal(const MallocRefusal&) = delete;
    MallocRefusal& operator=(const MallocRefusal&) = delete;

    /// Whether the request came and was refused.
    [[nodiscard]] static bool happened() noexcept;
    /// Blocks taken and not given back since the start.
    [[nodiscard]] static int blocksHeld() noexcept;
};

} // namespace tovix::test
