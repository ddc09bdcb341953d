#include "convolution/ConvolverEngine.h"

#include <cstdio>
#include <cstdlib>

/// Linked into a test program, runs all of it with the convolution engine that the environment names in
/// TOVIX_TEST_ENGINE. Tests that force engines themselves do as without it.
namespace tovix::test {
namespace {

bool forceNamedEngine() noexcept {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody else runs yet
    const char* const pName = std::getenv("TOVIX_TEST_ENGINE");
    if (pName == nullptr || *pName == '\0') {
        return false;
    }
    if (!forceConvolverEngine(pName)) {
        std::fprintf(stderr, "TOVIX_TEST_ENGINE: this processor has no engine \"%s\".\n", pName);
        std::_Exit(EXIT_FAILURE);
    }
    return true;
}

[[maybe_unused]] const bool isForced = forceNamedEngine();

} // namespace

} // namespace tovix::test
