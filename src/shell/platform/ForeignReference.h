#pragma once

#include "system/GuardedCall.h"

#include <unknwn.h>

#include <utility>

namespace tovix {

/// One owned reference to an interface of an object that any compiler may have built, or none. The object is asked
/// for it, and given it back, through guarded calls. All [control].
template <class Interface> class ForeignReference {
public:
    ForeignReference() noexcept = default;
    ~ForeignReference() { reset(); }
    ForeignReference(const ForeignReference&) = delete;
    ForeignReference& operator=(const ForeignReference&) = delete;

    /// Gives back what it holds and asks `object` for the interface; `E_NOINTERFACE` where a success comes without
    /// one.
    HRESULT ask(IUnknown& object, REFIID iid) noexcept {
        reset();
        void* pInterface = nullptr;
        const HRESULT hr = guardedResult([&] { return object.QueryInterface(iid, &pInterface); });
        m_pInterface = SUCCEEDED(hr) ? static_cast<Interface*>(pInterface) : nullptr;
        return SUCCEEDED(hr) && m_pInterface == nullptr ? E_NOINTERFACE : hr;
    }
    void reset() noexcept {
        if (Interface* const pInterface = std::exchange(m_pInterface, nullptr)) {
            static_cast<void>(guardedCall([pInterface] { pInterface->Release(); }));
        }
    }

    explicit operator bool() const noexcept { return m_pInterface != nullptr; }
    [[nodiscard]] Interface* get() const noexcept { return m_pInterface; }
    Interface& operator*() const noexcept { return *m_pInterface; }
    Interface* operator->() const noexcept { return m_pInterface; }

private:
    Interface* m_pInterface = nullptr;
};

} // namespace tovix
