#pragma once

#include <unknwn.h>

#include <memory>

namespace tovix {

struct ReleaseComObject {
    void operator()(IUnknown* pObject) const noexcept { pObject->Release(); }
};

/// One owned reference to a COM object, or none.
template <class Interface> using ComReference = std::unique_ptr<Interface, ReleaseComObject>;

/// [control] Asks `object` for an interface; none when it has none.
template <class Interface> ComReference<Interface> queryInterface(IUnknown& object, REFIID iid) {
    void* pInterface = nullptr;
    if (FAILED(object.QueryInterface(iid, &pInterface))) {
        return nullptr;
    }
    return ComReference<Interface>(static_cast<Interface*>(pInterface));
}

} // namespace tovix
