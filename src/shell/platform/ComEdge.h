#pragma once

#include <unknwn.h>

#include <propidl.h>

#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace tovix {

/// What the COM edge needs: owners of what interfaces hand out, and the way from an exception to a result code.
/// All [control].

struct ReleaseComObject {
    void operator()(IUnknown* pObject) const noexcept { pObject->Release(); }
};

/// One owned reference to a COM object, or none.
template <class Interface> using ComReference = std::unique_ptr<Interface, ReleaseComObject>;

/// Asks `object` for an interface; none when it has none.
template <class Interface> ComReference<Interface> queryInterface(IUnknown& object, REFIID iid) {
    void* pInterface = nullptr;
    if (FAILED(object.QueryInterface(iid, &pInterface))) {
        return nullptr;
    }
    return ComReference<Interface>(static_cast<Interface*>(pInterface));
}

/// A property value that is cleared at the end of its scope.
class PropertyValue {
public:
    PropertyValue() noexcept { ::PropVariantInit(&m_value); }
    ~PropertyValue() { ::PropVariantClear(&m_value); }
    PropertyValue(const PropertyValue&) = delete;
    PropertyValue& operator=(const PropertyValue&) = delete;

    /// Where a value is to be stored, once.
    [[nodiscard]] PROPVARIANT* receive() noexcept { return &m_value; }
    /// Empty for a value that is not a string. Throws std::bad_alloc.
    [[nodiscard]] std::wstring text() const {
        return m_value.vt == VT_LPWSTR && m_value.pwszVal != nullptr ? m_value.pwszVal : std::wstring();
    }
    /// The strings of a list, or the one that the value is; empty for any other value. Throws std::bad_alloc.
    [[nodiscard]] std::vector<std::wstring> texts() const {
        std::vector<std::wstring> list;
        if (m_value.vt == (VT_VECTOR | VT_LPWSTR)) {
            for (ULONG i = 0; i < m_value.calpwstr.cElems; ++i) {
                const wchar_t* const pText = m_value.calpwstr.pElems[i];
                list.emplace_back(pText != nullptr ? pText : L"");
            }
        } else if (m_value.vt == VT_LPWSTR) {
            list.push_back(text());
        }
        return list;
    }

private:
    PROPVARIANT m_value{};
};

/// The one place where exceptions become result codes: runs `body` and returns its result, or `E_OUTOFMEMORY` when
/// memory ran out, or `E_FAIL` for anything else that was thrown. Every export and interface method whose body can
/// throw goes through it.
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
