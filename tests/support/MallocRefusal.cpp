#include "support/MallocRefusal.h"

#include <cstddef>

// The linker's names for the functions it wraps.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" {
void* __real_malloc(std::size_t sizeBytes);
void __real_free(void* pBlock);
void* __wrap_malloc(std::size_t sizeBytes);
void __wrap_free(void* pBlock);
}

namespace tovix::test {
namespace {

thread_local int requestsLeft = 0;
thread_local bool refused = false;
thread_local int held = 0;

} // namespace

MallocRefusal::MallocRefusal(int nth) noexcept {
    requestsLeft = nth;
    refused = false;
    held = 0;
}

MallocRefusal::~MallocRefusal() {
    requestsLeft = 0;
}

bool MallocRefusal::happened() noexcept {
    return refused;
}

int MallocRefusal::blocksHeld() noexcept {
    return held;
}

} // namespace tovix::test

void* __wrap_malloc(std::size_t sizeBytes) {
    using namespace tovix::test;
    if (requestsLeft > 0 && --requestsLeft == 0) {
        refused = true;
        return nullptr;
    }
    void* const pBlock = __real_malloc(sizeBytes);
    held += pBlock != nullptr ? 1 : 0;
    return pBlock;
}

void __wrap_free(void* pBlock) {
    tovix::test::held -= pBlock != nullptr ? 1 : 0;
    __real_free(pBlock);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
