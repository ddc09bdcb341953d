#pragma once

#include "render/engine/EffectModule.h"
#include "render/engine/EffectStream.h"
#include "render/engine/Engine.h"
#include "render/engine/SettingsLoan.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tovix::render {

/// Runs the effect's library and plays both sides to it: the audio engine, which loads the library and runs a stream
/// through an effect, and the control application, which writes the settings and signals.
///
/// The effect builds its chains on a thread of its own and tells nobody when one is ready. So that a render comes out
/// the same every time, a change waits until the effect has taken the signal, and then for many times as long as the
/// core in this process takes for the same build. Threads as IEngine says.
class DllEngine final : public IEngine {
public:
    explicit DllEngine(EngineChoice choice);
    DllEngine(const DllEngine&) = delete;
    DllEngine& operator=(const DllEngine&) = delete;
    ~DllEngine() override;

    void open(const EngineFormat& format, std::string_view settings) override;
    void changeSettings(std::string_view settings) override;
    void prepareBlock() override;
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

    /// Gives everything back; false when the library says that it is still in use.
    bool release() noexcept;
    void announce(const std::string& settings);
    /// Throws RenderError when the effect does not take the signal.
    void waitUntilSignalIsTaken();
    /// Tells when somebody else has changed the settings.
    void watchSettings();

    ComApartment m_apartment;
    EngineChoice m_choice;
    EngineFormat m_format;
    std::string m_description;
    std::optional<EffectModule> m_module;
    std::optional<SettingsLoan> m_settings;
    std::optional<EffectStream> m_stream;
    /// Settings that wait for the end of a fade.
    std::optional<std::string> m_waitingSettings;
    /// The text that this engine or, while watching, somebody else wrote last.
    std::string m_knownText;
    bool m_foreignText = false;
    std::uint32_t m_crossfadeFrames = 0;
    /// Frames until the chain that fades in is heard in full.
    std::uint32_t m_fadeFramesLeft = 0;
    std::uint64_t m_framesPlayed = 0;
    EngineStatistics m_statistics;
};

} // namespace tovix::render
