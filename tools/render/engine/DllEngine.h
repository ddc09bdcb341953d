#pragma once

#include "platform/ApoInterfaces.h"
#include "render/engine/EffectModule.h"
#include "render/engine/Engine.h"
#include "render/engine/EngineChoice.h"
#include "render/engine/SettingsLoan.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tovix::render {

/// Runs the effect's library and plays both sides to it: the audio engine (create, initialize, negotiate, lock,
/// process, unlock, release) and the control application (settings page and update event).
///
/// The effect builds its chains on a thread of its own and tells nobody when one is ready. So that a render comes out
/// the same every time, a change waits until the effect has taken the signal, and then for several times as long as
/// the core in this process takes for the same build.
///
/// As the audio engine does with an effect that may work in place, it hands out one buffer for both sides where they
/// have as many channels.
class DllEngine final : public IEngine {
public:
    explicit DllEngine(EngineChoice choice);
    DllEngine(const DllEngine&) = delete;
    DllEngine& operator=(const DllEngine&) = delete;
    ~DllEngine() override;

    void open(const EngineFormat& format, std::string_view settings) override;
    void changeSettings(std::string_view settings) override;
    void attend() override;
    void process(const float* input, float* output) noexcept override;
    [[nodiscard]] bool isSettled() const noexcept override;
    [[nodiscard]] EngineStatistics statistics() const noexcept override { return m_statistics; }
    [[nodiscard]] std::string description() const override { return m_description; }
    void close() override;

private:
    /// COM on this thread, for as long as the engine lives.
    class ComApartment {
    public:
        ComApartment() noexcept : m_entered(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
        ComApartment(const ComApartment&) = delete;
        ComApartment& operator=(const ComApartment&) = delete;
        ~ComApartment() {
            if (m_entered) {
                ::CoUninitialize();
            }
        }

    private:
        bool m_entered;
    };

    void initialize();
    /// The format that the effect takes: the one that is asked for, or the effect's proposal. Throws RenderError when
    /// that is not what the sound is fed in.
    ComReference<IAudioMediaType> negotiate(IAudioMediaType& requested, IAudioMediaType& output);
    void lock(IAudioMediaType& input, IAudioMediaType& output);
    /// Gives everything back; false when the library says that it is still in use.
    bool release() noexcept;
    void announce(const std::string& settings);
    /// Throws RenderError when it takes too long.
    void awaitTaking();
    void watchSettings();

    ComApartment m_apartment;
    EngineChoice m_choice;
    EngineFormat m_format;
    std::string m_description;
    std::optional<EffectModule> m_module;
    std::optional<SettingsLoan> m_settings;
    ComReference<IAudioProcessingObject> m_apo;
    ComReference<IAudioProcessingObjectRT> m_rt;
    ComReference<IAudioProcessingObjectConfiguration> m_config;
    bool m_locked = false;
    /// A copy of the input that the effect may write to; empty where it works in the output.
    std::vector<float> m_input;
    std::optional<std::string> m_announced;
    /// The text that this engine or, while watching, somebody else wrote last.
    std::string m_knownText;
    bool m_foreignText = false;
    std::uint32_t m_crossfadeFrames = 0;
    /// Frames until the chain that fades in is there in full.
    std::uint32_t m_fadeFramesLeft = 0;
    std::uint64_t m_framesPlayed = 0;
    EngineStatistics m_statistics;
};

} // namespace tovix::render
