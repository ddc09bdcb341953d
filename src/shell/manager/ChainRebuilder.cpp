#include "manager/ChainRebuilder.h"

#include "chain/ChainCost.h"
#include "chain/ChannelNames.h"
#include "log/Log.h"
#include "system/SystemText.h"
#include "text/SettingsText.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

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

std::int64_t nanoseconds() noexcept {
    constexpr std::int64_t perSecond = 1000000000;
    const std::int64_t frequency = counterFrequency();
    const std::int64_t ticks = counter();
    return ticks / frequency * perSecond + ticks % frequency * perSecond / frequency;
}

FunctionLog logOf(const char* function, const void* pManager) noexcept {
    return {function, "EffectManager", pManager};
}

} // namespace

ChainRebuilder::ChainRebuilder(const void* pManager)
    : m_pManager(pManager), m_counterFrequency(counterFrequency()),
      m_wantsPreviousEffect(
          m_config.GetSetting(ApoConfigManager::PreviousEffectSection, ApoConfigManager::SwitchKey) == 1),
      m_hChainSemaphore(::CreateSemaphoreW(nullptr, 1, 1, nullptr)),
      m_hShutdownEvent(::CreateEventW(nullptr, TRUE, FALSE, nullptr)), m_builder(&decodeAnsiText) {
    m_settingsPage.reserve(settingsPageBytes);
}

void ChainRebuilder::startStream(const StreamFormat& format, const GateSwitches& switches) noexcept {
    const std::lock_guard guard(m_lock);
    m_slots.reset(format);
    m_nextChain = nullptr;
    m_playingShare = 0.0;
    m_format = format;
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
        logOf("EffectManager::initializeManager", m_pManager)
            .info("Channel count= ", format.outputChannels, " Device= ", channelDescription(names));
    } catch (...) {
        // No memory for the names: the stream matters more than its line in the log.
        return;
    }
}

bool ChainRebuilder::rebuild() noexcept {
    const std::lock_guard guard(m_lock);
    m_buildTimes.start = counter();
    m_slots.freeRetired();
    m_settingsPage.clear();
    m_config.ReadConfigData(m_settingsPage);
    BuiltChain built = m_builder.build(m_settingsPage);
    m_buildTimes.end = counter();
    if (built.previousEffect) {
        m_wantsPreviousEffect.store(*built.previousEffect, std::memory_order_release);
    }
    const auto share = affordableShare(built.chain.get());
    return share && publish(std::move(built.chain), *share);
}

std::optional<double> ChainRebuilder::affordableShare(const FilterChain* pChain) const noexcept {
    const FunctionLog log = logOf("EffectManager::buildChain", m_pManager);
    const char* const consequence =
        m_slots.plays() ? ". The chain that plays goes on" : ". The sound passes unchanged";
    const auto cost = pChain != nullptr ? measureCost(*pChain, m_format, &nanoseconds) : std::nullopt;
    if (!cost) {
        log.warning("No chain could be built, for want of memory or of frames", consequence);
        return std::nullopt;
    }
    if (!cost->fits()) {
        log.warning("The settings take too much of each block's time and are not used. Percent= ",
                    100.0 * cost->share(), " Limit= ", 100.0 * maxBlockShare, consequence);
        return std::nullopt;
    }
    return cost->share();
}

bool ChainRebuilder::publish(RtPtr<FilterChain> chain, double share) noexcept {
    const bool together = m_playingShare + share <= maxBlockShare;
    if (!together) {
        m_nextChain = std::exchange(chain, m_builder.build({}).chain);
        m_nextShare = std::exchange(share, 0.0);
        if (!chain) {
            m_nextChain = nullptr;
            return false;
        }
    }
    m_playingShare = share;
    return m_slots.publish(std::move(chain)) == ChainSlots::Published::pending;
}

bool ChainRebuilder::isOnTheWay() noexcept {
    const std::lock_guard guard(m_lock);
    return m_nextChain != nullptr;
}

bool ChainRebuilder::publishNext() noexcept {
    const std::lock_guard guard(m_lock);
    m_slots.freeRetired();
    return m_nextChain && publish(std::move(m_nextChain), m_nextShare);
}

void ChainRebuilder::rebuildOnUpdates() noexcept {
    const FunctionLog log = logOf("EffectManager::notificationThread", m_pManager);
    if (m_config.updateEvent() == nullptr) {
        log.error("NO update event exists!");
    }
    while (m_config.awaitUpdate(m_hShutdownEvent.get())) {
        if (!awaitToken()) {
            log.info("Shutdown event received 2");
            return;
        }
        bool fading = rebuild();
        while (fading && isOnTheWay()) {
            if (!awaitToken()) {
                log.info("Shutdown event received 2");
                return;
            }
            fading = publishNext();
        }
        if (!fading) {
            // So the audio thread will not return the token.
            returnToken();
        }
    }
    log.info("Shutdown event received 1");
}

void ChainRebuilder::shutDown() noexcept {
    ::SetEvent(m_hShutdownEvent.get());
}

bool ChainRebuilder::awaitToken() const noexcept {
    // Shutdown first, as in every wait, so that nothing that keeps being signalled holds it up.
    const std::array<HANDLE, 2> handles{m_hShutdownEvent.get(), m_hChainSemaphore.get()};
    return ::WaitForMultipleObjects(handles.size(), handles.data(), FALSE, INFINITE) == WAIT_OBJECT_0 + 1;
}

void ChainRebuilder::returnToken() noexcept {
    ::ReleaseSemaphore(m_hChainSemaphore.get(), 1, nullptr);
}

void ChainRebuilder::process(float* output, const float* input, std::uint32_t frameCount) noexcept {
    if (m_slots.process(output, input, frameCount)) {
        returnToken();
    }
}

bool ChainRebuilder::readPreviousEffectWish() noexcept {
    const std::lock_guard guard(m_lock);
    m_settingsPage.clear();
    m_config.ReadConfigData(m_settingsPage);
    try {
        if (const auto wish = previousEffectSetting(m_settingsPage, &decodeAnsiText)) {
            m_wantsPreviousEffect.store(*wish, std::memory_order_release);
        }
    } catch (...) {
        // No memory to read the lines: what was wanted before holds.
        return wantsPreviousEffect();
    }
    return wantsPreviousEffect();
}

bool ChainRebuilder::wantsPreviousEffect() const noexcept {
    return m_wantsPreviousEffect.load(std::memory_order_acquire);
}

} // namespace tovix
