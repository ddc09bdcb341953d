#include "support/ModuleUnderTest.h"

#include <gtest/gtest.h>

#include <functional>

namespace tovix::test {
namespace {

constexpr GUID foreignId{0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};

const IID* const effectInterfaces[] = {&IID_IAudioProcessingObject, &IID_IAudioProcessingObjectRT,
                                       &IID_IAudioProcessingObjectConfiguration, &IID_IAudioSystemEffects};

/// Takes `unknown`'s count without changing it.
ULONG references(IUnknown& unknown) {
    unknown.AddRef();
    return unknown.Release();
}

/// Whether an object hands out its interface with a reference for whoever asked.
bool givesAReference(IUnknown& object, const IID& iid) {
    const ULONG before = references(object);
    void* pInterface = nullptr;
    EXPECT_EQ(object.QueryInterface(iid, &pInterface), S_OK);
    const bool given = references(object) == before + 1;
    if (given) { // else the object would end here
        static_cast<IUnknown*>(pInterface)->Release();
    }
    return given;
}

TEST(ComServer, EveryQueryTakesAReference) {
    const ModuleUnderTest module;
    const auto factory = module.factory();
    EXPECT_TRUE(givesAReference(*factory, IID_IUnknown) && givesAReference(*factory, IID_IClassFactory));
    const Effect effect(module.create());
    for (const IID* const pInterface : effectInterfaces) {
        EXPECT_TRUE(givesAReference(*effect.unknown, *pInterface) && givesAReference(*effect.config, *pInterface));
    }
    EXPECT_TRUE(givesAReference(*effect.unknown, IID_IUnknown));
    FormatDouble output(floatFormat(2));
    FormatDouble request(floatFormat(2, 5.0F));
    IAudioMediaType* pProposal = nullptr;
    ASSERT_EQ(effect.apo->IsInputFormatSupported(&output, &request, &pProposal), S_FALSE);
    const ComReference<IAudioMediaType> proposal(pProposal);
    EXPECT_TRUE(givesAReference(*proposal, IID_IUnknown) && givesAReference(*proposal, IID_IAudioMediaType));
}

TEST(ComServer, ClassObjectsAndEffectsAreHandedOutWithTheGivenCodes) {
    const ModuleUnderTest module;
    auto factory = module.factory();
    const auto getClass = [&](const CLSID& classId, const IID& iid) {
        return [&module, &classId, &iid](void** ppv) { return module.getClassObject(classId, iid, ppv); };
    };
    const auto create = [&](const IID& iid) {
        return [&factory, &iid](void** ppv) { return factory->CreateInstance(nullptr, iid, ppv); };
    };
    const struct {
        std::function<HRESULT(void**)> call;
        HRESULT result;
    } cases[] = {
        {getClass(effectClassId, IID_IUnknown), S_OK},
        {getClass(effectClassId, IID_IClassFactory), S_OK},
        {getClass(effectClassId, IID_IAudioProcessingObject), E_NOINTERFACE},
        {getClass(foreignId, IID_IClassFactory), CLASS_E_CLASSNOTAVAILABLE},
        {create(IID_IAudioProcessingObjectRT), S_OK},
        {create(foreignId), E_NOINTERFACE},
    };
    for (const auto& c : cases) {
        void* pObject = &factory; // must be cleared
        EXPECT_EQ(c.call(&pObject), c.result) << "case " << &c - cases;
        EXPECT_EQ(pObject != nullptr, c.result == S_OK);
        const ComReference<IUnknown> object(static_cast<IUnknown*>(pObject));
        if (c.result == S_OK) {
            EXPECT_EQ(c.call(nullptr), E_POINTER);
        }
    }
    factory->LockServer(FALSE); // one too many changes nothing
    factory.reset();
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

TEST(ComServer, InitializationSurvivesAnyEndpoint) {
    const ModuleUnderTest module;
    PropertyStoreDouble store;
    const Effect effect(module.create());
    APOInitSystemEffects data{};
    data.pAPOEndpointProperties = &store;
    auto* const pData = reinterpret_cast<BYTE*>(&data);
    store.type = VT_UI4; // no string counts as an empty one
    EXPECT_EQ(effect.apo->Initialize(sizeof data, pData), S_OK);
    store.result = E_ACCESSDENIED;
    EXPECT_EQ(effect.apo->Initialize(sizeof data, pData), E_ACCESSDENIED);
    data.pAPOEndpointProperties = nullptr;
    EXPECT_EQ(effect.apo->Initialize(sizeof data, pData), E_INVALIDARG);
}

} // namespace
} // namespace tovix::test
