#pragma once

#include "system/WinHandles.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <string>
#include <vector>

namespace tovix::test {

/// One entry of an access list.
struct Entry {
    int type;
    int flags;
    DWORD mask;
    std::string sid;
};

inline std::string sidText(void* pSid) {
    char* pText = nullptr;
    ::ConvertSidToStringSidA(pSid, &pText);
    const LocalMemory<char> owner(pText);
    return pText != nullptr ? pText : "";
}

inline std::vector<Entry> entries(const ACL* pAcl) {
    std::vector<Entry> all;
    for (DWORD i = 0; pAcl != nullptr && i < pAcl->AceCount; ++i) {
        void* pAce = nullptr;
        ::GetAce(const_cast<ACL*>(pAcl), i, &pAce);
        auto* const pAllowed = static_cast<ACCESS_ALLOWED_ACE*>(pAce);
        all.push_back(
            {pAllowed->Header.AceType, pAllowed->Header.AceFlags, pAllowed->Mask, sidText(&pAllowed->SidStart)});
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
    const auto access = entries(pAccess);
    const auto label = entries(pLabel);
    const std::vector<std::string> granted{"S-1-5-11", "S-1-5-32-544", "S-1-1-0", "S-1-5-18"};
    ASSERT_EQ(access.size(), granted.size());
    for (std::size_t i = 0; i < granted.size(); ++i) {
        const Entry& entry = access[i];
        EXPECT_EQ(entry.type, ACCESS_ALLOWED_ACE_TYPE);
        EXPECT_EQ(entry.sid, granted[i]);
        // A system may store "generic all" as it stands or as the rights that it means for the object.
        EXPECT_TRUE(entry.mask == GENERIC_ALL || entry.mask == allAccess) << std::hex << entry.mask;
        EXPECT_EQ(entry.flags & ~(OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE), 0);
    }
    ASSERT_EQ(label.size(), 1U);
    EXPECT_EQ(label[0].type, SYSTEM_MANDATORY_LABEL_ACE_TYPE);
    EXPECT_EQ(label[0].sid, "S-1-16-4096");
    EXPECT_EQ(label[0].mask, SYSTEM_MANDATORY_LABEL_NO_WRITE_UP | SYSTEM_MANDATORY_LABEL_NO_READ_UP);
}

} // namespace tovix::test
