#include "support/ModuleUnderTest.h"

#include <gtest/gtest.h>

#include <functional>

namespace tovix::test {
namespace {

constexpr GUID foreignId{0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};

const IID* const effectInterfaces[] = {&IID_IAudioProcessingObject, &IID_IAudioProcessingObjectRT,
                                       &IID_IAudioProcessingObjectConfiguration, &IID_IAudioSystemEffects};

/// The outer object of an aggregate: hands out its own unknown, counts its references, asks the inner one for the
/// rest.
class OuterUnknown final : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (IsEqualIID(riid, IID_IUnknown)) {
            *ppv = this;
            AddRef();
            return S_OK;
        }
        return pInner->QueryInterface(riid, ppv);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }

    IUnknown* pInner = nullptr;
    ULONG references = 1;
};

/// Takes `unknown`'s count without changing it.
ULONG references(IUnknown& unknown) {
    unknown.AddRef();
    return unknown.Release();
}

TEST(ComServer, ClassObjectsAndEffectsAreHandedOutWithTheGivenCodes) {
    const ModuleUnderTest module;
    auto factory = module.factory();
    OuterUnknown outer;
    const auto getClass = [&](const CLSID& classId, const IID& iid) {
        return [&module, &classId, &iid](void** ppv) { return module.getClassObject(classId, iid, ppv); };
    };
    const auto create = [&](IUnknown* pOuter, const IID& iid) {
        return [&factory, &iid, pOuter](void** ppv) { return factory->CreateInstance(pOuter, iid, ppv); };
    };
    const struct {
        std::function<HRESULT(void**)> call;
        HRESULT result;
    } cases[] = {
        {getClass(effectClassId, IID_IUnknown), S_OK},
        {getClass(effectClassId, IID_IClassFactory), S_OK},
        {getClass(effectClassId, IID_IAudioProcessingObject), E_NOINTERFACE},
        {getClass(foreignId, IID_IClassFactory), CLASS_E_CLASSNOTAVAILABLE},
        {create(nullptr, IID_IAudioProcessingObjectRT), S_OK},
        {create(nullptr, foreignId), E_NOINTERFACE},
        {create(&outer, IID_IAudioProcessingObject), E_NOINTERFACE},
    };
    for (const auto& c : cases) {
        void* pObject = &outer; // must be cleared
        EXPECT_EQ(c.call(&pObject), c.result) << "case " << &c - cases;
        EXPECT_EQ(pObject != nullptr, c.result == S_OK);
        const ComReference<IUnknown> object(static_cast<IUnknown*>(pObject));
        if (c.result == S_OK) {
            EXPECT_EQ(c.call(nullptr), E_POINTER);
        }
    }
    factory.reset();
    EXPECT_EQ(module.canUnloadNow(), S_OK);
}

TEST(ComServer, ModuleStaysWhileAnythingOfItIsHeldOrTheServerIsLocked) {
    const ModuleUnderTest module;
    EXPECT_EQ(module.canUnloadNow(), S_OK);
    auto factory = module.factory();
    EXPECT_EQ(module.canUnloadNow(), S_FALSE);
    factory->LockServer(TRUE);
    factory.reset();
    EXPECT_EQ(module.canUnloadNow(), S_FALSE);
    for (int unlocks = 0; unlocks < 2; ++unlocks) { // one too many changes nothing
        module.factory()->LockServer(FALSE);
        EXPECT_EQ(module.canUnloadNow(), S_OK);
    }

    FormatDouble request(floatFormat(2, 5.0F));
    FormatDouble output(floatFormat(2));
    IAudioMediaType* pProposal = nullptr;
    {
        const Effect effect(module.create());
        EXPECT_EQ(module.canUnloadNow(), S_FALSE);
        ASSERT_EQ(effect.apo->IsInputFormatSupported(&output, &request, &pProposal), S_FALSE);
    }
    EXPECT_EQ(module.canUnloadNow(), S_FALSE);
    pProposal->Release();
    EXPECT_EQ(module.canUnloadNow(), S_OK);
}

TEST(ComServer, EveryInterfaceReachesEveryOtherTheOneIdentityAndACopyOfTheRecord) {
    const ModuleUnderTest module;
    const auto effect = module.create();
    for (const IID* const pFrom : effectInterfaces) {
        const auto from = queryInterface<IUnknown>(*effect, *pFrom);
        ASSERT_TRUE(from);
        for (const IID* const pTo : effectInterfaces) {
            EXPECT_TRUE(queryInterface<IUnknown>(*from, *pTo));
        }
        EXPECT_EQ(queryInterface<IUnknown>(*from, IID_IUnknown).get(), effect.get());
        void* pNothing = effect.get();
        EXPECT_EQ(from->QueryInterface(foreignId, &pNothing), E_NOINTERFACE);
        EXPECT_EQ(pNothing, nullptr);
        EXPECT_EQ(from->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    }
    EXPECT_EQ(references(*effect), 1U);

    // What registration writes of the record is seen in the registry; this is that a copy is handed out.
    const auto apo = queryInterface<IAudioProcessingObject>(*effect, IID_IAudioProcessingObject);
    APO_REG_PROPERTIES* pRecord = nullptr;
    ASSERT_EQ(apo->GetRegistrationProperties(&pRecord), S_OK);
    EXPECT_TRUE(IsEqualCLSID(pRecord->clsid, effectClassId));
    ::CoTaskMemFree(pRecord);
    EXPECT_EQ(apo->GetRegistrationProperties(nullptr), E_POINTER);
}

TEST(ComServer, AnAggregatedEffectIsPartOfItsOuterObject) {
    const ModuleUnderTest module;
    OuterUnknown outer;
    void* pInner = nullptr;
    ASSERT_EQ(module.factory()->CreateInstance(&outer, IID_IUnknown, &pInner), S_OK);
    ComReference<IUnknown> inner(static_cast<IUnknown*>(pInner));
    outer.pInner = inner.get();
    EXPECT_EQ(outer.references, 1U);
    {
        const auto apo = queryInterface<IUnknown>(outer, IID_IAudioProcessingObject);
        EXPECT_EQ(outer.references, 2U);
        EXPECT_EQ(references(*inner), 1U);
        EXPECT_EQ(queryInterface<IUnknown>(*apo, IID_IUnknown).get(), static_cast<IUnknown*>(&outer));
        EXPECT_EQ(queryInterface<IUnknown>(*inner, IID_IUnknown).get(), inner.get());
    }
    EXPECT_EQ(outer.references, 1U);
    inner.reset();
    EXPECT_EQ(module.canUnloadNow(), S_OK);
}

TEST(ComServer, InitializationTakesOneSizeAndSurvivesAnyEndpoint) {
    const ModuleUnderTest module;
    PropertyStoreDouble store;
    const Effect effect(module.create());
    APOInitSystemEffects data{};
    data.pAPOEndpointProperties = &store;
    auto* const pData = reinterpret_cast<BYTE*>(&data);
    const struct {
        UINT32 size;
        BYTE* pBytes;
        HRESULT result;
    } sizes[] = {{0, pData, E_POINTER},     {5, nullptr, E_INVALIDARG}, {0, nullptr, E_INVALIDARG},
                 {55, pData, E_INVALIDARG}, {57, pData, E_INVALIDARG},  {56, pData, S_OK}};
    for (const auto& c : sizes) {
        EXPECT_EQ(effect.apo->Initialize(c.size, c.pBytes), c.result) << c.size;
    }
    store.type = VT_UI4; // no string counts as an empty one
    EXPECT_EQ(effect.apo->Initialize(sizeof data, pData), S_OK);
    store.result = E_ACCESSDENIED;
    EXPECT_EQ(effect.apo->Initialize(sizeof data, pData), E_ACCESSDENIED);
    data.pAPOEndpointProperties = nullptr;
    EXPECT_EQ(effect.apo->Initialize(sizeof data, pData), E_INVALIDARG);
}

} // namespace
} // namespace tovix::test
