#pragma once

#include "system/WinHandles.h"

namespace tovix {

/// Security attributes with which a service and a user's program can share kernel objects: everything is
/// granted to Authenticated Users, Administrators, Everyone and Local System, and the mandatory label is Low,
/// so that a process of any higher integrity may read and write.
///
/// Descriptor and attributes come from the local heap and go back to it, the descriptor first.
class GlobalObjectSecurity {
public:
    /// [control] Never fails; what could not be built is missing from `attributes`.
    GlobalObjectSecurity() noexcept;

    /// [control] Borrowed for the object's life; null when building failed. Handles made with them are not inherited.
    [[nodiscard]] SECURITY_ATTRIBUTES* attributes() const noexcept { return m_pAttributes.get(); }

private:
    LocalMemory<SECURITY_ATTRIBUTES> m_pAttributes;
    LocalMemory<void> m_pDescriptor;
};

/// [control] Enables "SeCreateGlobalPrivilege" in the token of `hProcess`. False on any failure, also when the
/// account does not hold the privilege.
bool EnableCreateGlobalPrivilege(HANDLE hProcess) noexcept;

} // namespace tovix
