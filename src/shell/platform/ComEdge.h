#pragma once

#include <windows.h>

#include <new>
#include <utility>

namespace tovix {

/// [control] The one place where exceptions become result codes: runs `body` and answers its result, or
/// `E_OUTOFMEMORY` when memory ran out, or `E_FAIL` for anything else that was thrown. Every export and interface
/// method whose body can throw goes through it.
template <class Body> HRESULT atComEdge(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

} // namespace tovix
