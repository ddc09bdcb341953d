#include "support/ModuleUnderTest.h"

#include <gtest/gtest.h>

#include <vector>

namespace tovix::test {
namespace {

constexpr GUID foreignId{0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};

/// Takes `unknown`'s count without changing it.
ULONG references(IUnknown& unknown) {
    unknown.AddRef();
    return unknown.Release();
}

/// An interface for which `object` has counted a reference; else none, with which the object would end.
ComReference<IUnknown> counted(IUnknown& object, IUnknown& from, const IID& iid) {
    const ULONG before = references(object);
    void* pFound = nullptr;
    EXPECT_EQ(from.QueryInterface(iid, &pFound), S_OK);
    const bool isCounted = references(object) == before + 1;
    return ComReference<IUnknown>(isCounted ? static_cast<IUnknown*>(pFound) : nullptr);
}

using Interfaces = std::vector<const IID*>;

/// Expects each of an object's interfaces to hand out all of them, and nothing else, in the way of COM.
void expectToBeFoundUnder(const Interfaces& own, IUnknown& object) {
    for (const IID* const pFrom : own) {
        const auto from = counted(object, object, *pFrom);
        ASSERT_TRUE(from);
        for (const IID* const pTo : own) {
            const auto found = counted(object, *from, *pTo);
            ASSERT_TRUE(found);
            EXPECT_TRUE(!IsEqualIID(*pTo, IID_IUnknown) || found.get() == &object) << "the identity";
        }
        void* pNothing = &object; // must be cleared
        EXPECT_EQ(from->QueryInterface(foreignId, &pNothing), E_NOINTERFACE);
        EXPECT_EQ(pNothing, nullptr);
        EXPECT_EQ(from->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    }
    EXPECT_EQ(references(object), 1U);
}

TEST(ComServer, EveryObjectIsFoundUnderItsInterfacesAndTakesAReferenceForEach) {
    const ModuleUnderTest module;
    expectToBeFoundUnder({&IID_IUnknown, &IID_IClassFactory}, *module.factory());
    expectToBeFoundUnder({&IID_IUnknown, &IID_IAudioProcessingObject, &IID_IAudioProcessingObjectRT,
                          &IID_IAudioProcessingObjectConfiguration, &IID_IAudioSystemEffects},
                         *module.create());
    FormatDouble output(floatFormat(2));
    FormatDouble request(floatFormat(2, 5.0F));
    IAudioMediaType* pProposal = nullptr;
    ASSERT_EQ(Effect(module.create()).apo->IsInputFormatSupported(&output, &request, &pProposal), S_FALSE);
    const ComReference<IAudioMediaType> proposal(pProposal);
    expectToBeFoundUnder({&IID_IUnknown, &IID_IAudioMediaType}, *proposal);
}

TEST(ComServer, ClassObjectsAreHandedOutWithTheGivenCodes) {
    const ModuleUnderTest module;
    const struct {
        const CLSID& classId;
        const IID& iid;
        HRESULT result;
    } cases[] = {
        {effectClassId, IID_IUnknown, S_OK},
        {effectClassId, IID_IClassFactory, S_OK},
        {effectClassId, IID_IAudioProcessingObject, E_NOINTERFACE},
        {foreignId, IID_IClassFactory, CLASS_E_CLASSNOTAVAILABLE},
    };
    for (const auto& c : cases) {
        void* pObject = &pObject; // must be cleared
        EXPECT_EQ(module.getClassObject(c.classId, c.iid, &pObject), c.result) << "case " << &c - cases;
        EXPECT_EQ(pObject != nullptr, c.result == S_OK);
        const ComReference<IUnknown> object(static_cast<IUnknown*>(pObject));
    }
    EXPECT_EQ(module.getClassObject(effectClassId, IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(module.factory()->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    module.factory()->LockServer(FALSE); // one too many changes nothing
    EXPECT_EQ(module.canUnloadNow(), S_OK);
}

} // namespace
} // namespace tovix::test
