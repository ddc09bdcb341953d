// zita-convolver, as its own programs set it up: in vector mode, and with uniform partitions of one block, all work
// done in the caller, or with its default partitions that grow up to 8192 frames, for which it starts threads.

#include "Contestant.h"

#include <zita-convolver.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <ctime>
#include <thread>

namespace tovix::bench {
namespace {

enum class Partitions { uniform, growing };

constexpr std::uint32_t longestPartition = Convproc::MAXPART;

/// Of all threads of this process.
double processNs() {
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return 1e9 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec);
}

class Zita final : public Contestant {
public:
    Zita(const Shape& shape, Partitions partitions)
        : Contestant(partitions == Partitions::uniform ? "zita uniform" : "zita threads"), m_shape(shape),
          m_isThreaded(partitions == Partitions::growing), m_input(noise(shape.samples())) {
        std::vector<float> h = decayingNoise(tapCount);
        const std::uint32_t longest = m_isThreaded ? longestPartition : shape.blockFrames;
        m_engine.set_options(Convproc::OPT_VECTOR_MODE);
        m_ready = m_engine.configure(shape.channelCount, shape.channelCount, tapCount, shape.blockFrames,
                                     shape.blockFrames, longest, 0.0F) == 0;
        for (unsigned c = 0; c < shape.channelCount && m_ready; ++c) {
            m_ready = m_engine.impdata_create(c, c, 1, h.data(), 0, static_cast<int>(tapCount)) == 0;
        }
        m_ready = m_ready && m_engine.start_process(0, SCHED_OTHER) == 0;
    }
    Zita(const Zita&) = delete;
    Zita& operator=(const Zita&) = delete;
    ~Zita() override {
        m_engine.stop_process();
        m_engine.cleanup();
    }

    [[nodiscard]] bool ready() const override { return m_ready; }
    [[nodiscard]] std::span<const float> output() const override {
        return {m_engine.outdata(0), m_shape.blockFrames};
    }

    /// With threads: of all of them, over whole cycles of the longest partition, until the last of them is idle.
    double nsOfBlocks(std::size_t blocks) override {
        if (!m_isThreaded) {
            return nsOf([&] { process(blocks); });
        }
        const std::size_t cycle = longestPartition / m_shape.blockFrames;
        const std::size_t whole = (blocks + cycle - 1) / cycle * cycle;
        const double start = processNs();
        process(whole);
        for (double before = start; processNs() - before > idleNs;) {
            before = processNs();
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        return (processNs() - start) * static_cast<double>(blocks) / static_cast<double>(whole);
    }

private:
    /// More than a sleep takes, less than a helper that works meanwhile.
    static constexpr double idleNs = 50e3;

    void process(std::size_t blocks) {
        for (std::size_t i = 0; i < blocks; ++i) {
            for (unsigned c = 0; c < m_shape.channelCount; ++c) {
                const float* const from = m_input.data() + std::size_t{c} * m_shape.blockFrames;
                std::copy_n(from, m_shape.blockFrames, m_engine.inpdata(c));
            }
            m_engine.process(true);
        }
    }

    Shape m_shape;
    bool m_isThreaded;
    std::vector<float> m_input;
    Convproc m_engine;
    bool m_ready = false;
};

} // namespace

std::vector<std::unique_ptr<Contestant>> makePeers(const Shape& shape) {
    std::vector<std::unique_ptr<Contestant>> peers;
    if (std::has_single_bit(shape.blockFrames) && shape.blockFrames >= Convproc::MINPART &&
        shape.blockFrames <= longestPartition) {
        peers.push_back(std::make_unique<Zita>(shape, Partitions::uniform));
        peers.push_back(std::make_unique<Zita>(shape, Partitions::growing));
    }
    return peers;
}

} // namespace tovix::bench
