#include "exchange/UpdateEvent.h"

#include "exchange/SharedConfigMapping.h"
#include "system/Locks.h"

#include <cstdint>

namespace tovix {
namespace {

/// A plain handle, so that unloading the module runs no code for it: whoever holds it closes it.
struct SharedHandle {
    SRWLOCK lock = SRWLOCK_INIT;
    HANDLE handle = nullptr;
    std::uint32_t holders = 0;
};
constinit SharedHandle shared;

HANDLE createAutoResetEvent(SECURITY_ATTRIBUTES* sa, const wchar_t* name) noexcept {
    return ::CreateEventW(sa, FALSE, FALSE, name);
}

} // namespace

void GiveBackUpdateEvent::operator()(HANDLE handle) const noexcept {
    const Exclusive guard(shared.lock);
    if (handle == shared.handle) {
        if (--shared.holders > 0) {
            return;
        }
        shared.handle = nullptr;
    }
    ::CloseHandle(handle);
}

UpdateEvent openUpdateEvent(SECURITY_ATTRIBUTES* sa) noexcept {
    const Exclusive guard(shared.lock);
    if (shared.holders == 0) {
        shared.handle = createAutoResetEvent(sa, CONFIG_DATA_UPDATE_EVENT);
    }
    shared.holders += shared.handle != nullptr ? 1 : 0;
    return UpdateEvent(shared.handle);
}

UpdateEvent makeUnnamedUpdateEvent() noexcept {
    return UpdateEvent(createAutoResetEvent(nullptr, nullptr));
}

} // namespace tovix
