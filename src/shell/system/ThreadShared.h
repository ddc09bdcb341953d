#pragma once

#include <atomic>
#include <memory>

namespace tovix {

/// Base of what an object shares with its thread: it lives as long as either holds a reference, so that a thread that
/// outlives the object's last wait still finds everything in place. Made with one reference, which `Reference` owns;
/// a further one costs no memory, so that starting a thread cannot fail for want of it. [control]
template <class Derived> class ThreadShared {
public:
    struct DropReference {
        void operator()(Derived* pShared) const noexcept { pShared->drop(); }
    };
    using Reference = std::unique_ptr<Derived, DropReference>;

    ThreadShared(const ThreadShared&) = delete;
    ThreadShared& operator=(const ThreadShared&) = delete;

    Reference addReference() noexcept {
        m_references.fetch_add(1, std::memory_order_relaxed);
        return Reference(static_cast<Derived*>(this));
    }

protected:
    ThreadShared() noexcept = default;
    ~ThreadShared() = default;

private:
    void drop() noexcept {
        if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete static_cast<Derived*>(this);
        }
    }

    std::atomic<int> m_references{1};
};

} // namespace tovix
