#pragma once

#include <windows.h>

namespace tovix::test {

/// Asks until the answer is yes, twenty seconds at most: on a busy machine everything takes its time.
template <class Condition> bool becomesTrue(const Condition& condition) {
    constexpr ULONGLONG limitMs = 20000;
    const ULONGLONG startMs = ::GetTickCount64();
    while (!condition()) {
        if (::GetTickCount64() - startMs > limitMs) {
            return false;
        }
        ::Sleep(1);
    }
    return true;
}

} // namespace tovix::test
