#pragma once

#include "system/WinHandles.h"

namespace tovix {

/// [control] While it lives no other control program changes the settings: reading the text, changing it and writing
/// it back is one step, so that two that start at once keep each other's lines. One that is stuck is waited for five
/// seconds.
class ControllersTurn {
public:
    ControllersTurn();
    ~ControllersTurn();
    ControllersTurn(const ControllersTurn&) = delete;
    ControllersTurn& operator=(const ControllersTurn&) = delete;

private:
    KernelHandle m_hMutex;
    bool m_mine = false;
};

} // namespace tovix
