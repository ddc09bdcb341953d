#pragma once

namespace tovix::test {

/// Whether the environment's TOVIX_TEST_ENGINE names the convolution engine of this run (see ForcedEngine.cpp).
bool isEngineNamed() noexcept;

} // namespace tovix::test
