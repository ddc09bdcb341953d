#include "exchange/ConfigHelper.h"

#include <ostream>

namespace tovix {

ApoConfigManager::ApoConfigManager() noexcept : m_pExchange(ConfigExchange::make()) {
    if (m_pExchange) {
        m_pExchange->setUp();
    }
}

ApoConfigManager::~ApoConfigManager() {
    if (m_pExchange) {
        m_pExchange->tearDown();
    }
}

bool ApoConfigManager::ReadConfigData(ConfigText& text) const noexcept {
    return m_pExchange && m_pExchange->ReadConfigData(text);
}

void ApoConfigManager::ReadConfigData(std::ostream& stream) const noexcept {
    ConfigText text{};
    if (!ReadConfigData(text)) {
        return;
    }
    try {
        stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    } catch (...) {
        // A stream that was told to throw has already marked itself bad.
    }
}

void ApoConfigManager::updateSharedData() noexcept {
    if (m_pExchange) {
        m_pExchange->updateSharedData();
    }
}

void ApoConfigManager::SetSetting(std::int32_t section, std::int32_t key, std::int32_t value) noexcept {
    if (m_pExchange) {
        m_pExchange->SetSetting(section, key, value);
    }
}

std::int32_t ApoConfigManager::GetSetting(std::int32_t section, std::int32_t key) const noexcept {
    return m_pExchange ? m_pExchange->GetSetting(section, key) : 0;
}

HANDLE ApoConfigManager::updateEvent() const noexcept {
    return m_pExchange ? m_pExchange->updateEvent() : nullptr;
}

} // namespace tovix
