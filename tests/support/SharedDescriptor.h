#pragma once

#include "system/WinHandles.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <string>
#include <vector>

namespace tovix::test {

/// The entries of an access list, each as its type, its rights and whom it is for; "all" stands for every right.
inline std::vector<std::string> entries(ACL* pAcl, DWORD allAccess) {
    std::vector<std::string> all;
    for (DWORD i = 0; pAcl != nullptr && i < pAcl->AceCount; ++i) {
        ACCESS_ALLOWED_ACE* pEntry = nullptr;
        ::GetAce(pAcl, i, reinterpret_cast<void**>(&pEntry));
        char* pText = nullptr;
        ::ConvertSidToStringSidA(&pEntry->SidStart, &pText);
        const LocalMemory<char> sid(pText);
        // A system may store "generic all" as it stands or as the rights that it means for the object.
        const bool isAll = pEntry->Mask == GENERIC_ALL || pEntry->Mask == allAccess;
        EXPECT_EQ(pEntry->Header.AceFlags & ~(OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE), 0);
        all.push_back(std::to_string(pEntry->Header.AceType) + " " + (isAll ? "all" : std::to_string(pEntry->Mask)) +
                      " " + pText);
    }
    return all;
}

/// Expects the entries that every object of the exchange has, one by one; `allAccess` is what "all" means for it.
inline void expectSharedDescriptor(HANDLE hObject, DWORD allAccess) {
    ASSERT_NE(hObject, nullptr);
    constexpr SECURITY_INFORMATION wanted = DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION;
    DWORD sizeBytes = 0;
    ::GetKernelObjectSecurity(hObject, wanted, nullptr, 0, &sizeBytes);
    std::vector<char> descriptor(sizeBytes);
    ASSERT_NE(::GetKernelObjectSecurity(hObject, wanted, descriptor.data(), sizeBytes, &sizeBytes), FALSE);
    BOOL present = FALSE;
    BOOL byDefault = FALSE;
    ACL* pAccess = nullptr;
    ACL* pLabel = nullptr;
    ::GetSecurityDescriptorDacl(descriptor.data(), &present, &pAccess, &byDefault);
    ::GetSecurityDescriptorSacl(descriptor.data(), &present, &pLabel, &byDefault);
    using Entries = std::vector<std::string>;
    EXPECT_EQ(entries(pAccess, allAccess),
              (Entries{"0 all S-1-5-11", "0 all S-1-5-32-544", "0 all S-1-1-0", "0 all S-1-5-18"}));
    // Nobody below low integrity may write (1) or read (2).
    EXPECT_EQ(entries(pLabel, allAccess), Entries{"17 3 S-1-16-4096"});
}

} // namespace tovix::test
