#pragma once

/// Marks a function of the real-time path. It lands in the code section RT_CODE, which the module keeps
/// together so that the whole path can be locked in memory and inspected as one. Put the mark on the first
/// declaration; compilers ignore it on templates, so no template stands on the real-time path.
#define RT_SECTION __attribute__((section("RT_CODE")))
