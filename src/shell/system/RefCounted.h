#pragma once

#include <atomic>
#include <memory>

namespace tovix {

/// Base of what an object shares with its thread: it lives as long as either holds a reference, so that a thread that
/// outlives the object's last wait still finds everything in place. The count lies in the object itself: a further
/// reference costs no memory, so that starting a thread cannot fail for want of it. Made with one reference, which a
/// `Reference` must take over. Any thread; [control].
template <class Derived> class RefCounted {
public:
    struct DropReference {
        void operator()(Derived* pShared) const noexcept { pShared->drop(); }
    };
    using Reference = std::unique_ptr<Derived, DropReference>;

    RefCounted(const RefCounted&) = delete;
    RefCounted& operator=(const RefCounted&) = delete;

    Reference addReference() noexcept {
        m_references.fetch_add(1, std::memory_order_relaxed);
        return Reference(static_cast<Derived*>(this));
    }

protected:
    RefCounted() noexcept = default;
    ~RefCounted() = default;

private:
    void drop() noexcept {
        if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete static_cast<Derived*>(this);
        }
    }

    std::atomic<int> m_references{1};
};

} // namespace tovix
