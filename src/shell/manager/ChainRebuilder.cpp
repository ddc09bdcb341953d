#include "manager/ChainRebuilder.h"

#include "chain/ChannelNames.h"
#include "system/SystemText.h"

#include <algorithm>
#include <array>
#include <mutex>

namespace tovix {
namespace {

std::int64_t counterFrequency() noexcept {
    LARGE_INTEGER value{};
    ::QueryPerformanceFrequency(&value);
    return value.QuadPart;
}

std::int64_t counter() noexcept {
    LARGE_INTEGER value{};
    ::QueryPerformanceCounter(&value);
    return value.QuadPart;
}

} // namespace

ChainRebuilder::ChainRebuilder(const void* pManager)
    : m_pManager(pManager), m_counterFrequency(counterFrequency()),
      m_oldApoSetting(m_config.GetSetting(ApoConfigManager::OldEffectSection, ApoConfigManager::SwitchKey) == 1),
      m_hChainSemaphore(::CreateSemaphoreW(nullptr, 1, 1, nullptr)), m_builder(&decodeAnsiText) {}

void ChainRebuilder::start(const StreamFormat& format, const GateSwitches& switches) noexcept {
    const std::lock_guard<CriticalSection> guard(m_lock);
    m_slots.reset(format);
    logFormat(format);
    m_builder.configure(format, switches);
    rebuild();
}

void ChainRebuilder::logFormat(const StreamFormat& format) const noexcept {
    if (!logEnabled(LogLevel::Info)) {
        return;
    }
    try {
        const auto names = channelNames(std::max(format.inputChannels, format.outputChannels), format.channelMask);
        FunctionLog("EffectManager::initializeManager", "EffectManager", m_pManager)
            .info("Channel count= ", format.outputChannels, " Device= ", channelDescription(names));
    } catch (...) {
        // No memory for the names: the stream matters more than its line in the log.
        return;
    }
}

void ChainRebuilder::createShutdownEvent() noexcept {
    m_hShutdownEvent.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

void ChainRebuilder::shutDown() noexcept {
    ::SetEvent(m_hShutdownEvent.get());
}

bool ChainRebuilder::rebuild() noexcept {
    const std::lock_guard<CriticalSection> guard(m_lock);
    m_buildTimes.start = counter();
    m_slots.freeRetired();
    BuiltChain built = buildFromSettings();
    m_buildTimes.end = counter();
    if (built.oldApo) {
        m_oldApoSetting.store(*built.oldApo, std::memory_order_release);
    }
    return built.chain && m_slots.publish(std::move(built.chain)) == ChainSlots::Published::pending;
}

BuiltChain ChainRebuilder::buildFromSettings() noexcept {
    ConfigText text{};
    const bool haveText = m_config.ReadConfigData(text);
    return m_builder.build(haveText ? std::string_view(text.data(), text.size()) : std::string_view());
}

bool ChainRebuilder::waitFor(HANDLE handle) const noexcept {
    const std::array<HANDLE, 2> handles{handle, m_hShutdownEvent.get()};
    return ::WaitForMultipleObjects(handles.size(), handles.data(), FALSE, INFINITE) == WAIT_OBJECT_0;
}

void ChainRebuilder::rebuildOnUpdates() noexcept {
    const FunctionLog log("EffectManager::notificationThread", "EffectManager", m_pManager);
    const HANDLE hUpdate = m_config.updateEvent();
    if (hUpdate == nullptr) {
        log.error("NO update event exists!");
    }
    while (waitFor(hUpdate)) {
        if (!waitFor(m_hChainSemaphore.get())) {
            log.info("Shutdown event received 2");
            return;
        }
        if (!rebuild()) {
            // Nothing is fading in, so the audio thread will not return the token.
            ::ReleaseSemaphore(m_hChainSemaphore.get(), 1, nullptr);
        }
    }
    log.info("Shutdown event received 1");
}

void ChainRebuilder::process(float* output, const float* input, std::uint32_t frameCount) noexcept {
    if (m_slots.process(output, input, frameCount)) {
        ::ReleaseSemaphore(m_hChainSemaphore.get(), 1, nullptr);
    }
}

bool ChainRebuilder::oldApoSetting() const noexcept {
    return m_oldApoSetting.load(std::memory_order_acquire);
}

} // namespace tovix
