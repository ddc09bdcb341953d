// The audio service's place is taken by services that the tests install. Wine does not tell what depends on a
// service, so the tests say it.

#include "install/AudioService.h"
#include "tools/RefusalOf.h"
#include "tools/install/TestService.h"

#include <gtest/gtest.h>

namespace tovix::install {
namespace {

using test::expectRefusal;

class AudioServiceTest : public testing::Test {
protected:
    static constexpr const wchar_t* name = L"TovixTestAudio";
    static constexpr const wchar_t* otherName = L"TovixTestDependent";

    [[nodiscard]] static AudioService service(DWORD limitMs = AudioService::timeLimitMs) {
        return AudioService(name, limitMs, [](SC_HANDLE) { return std::vector<std::wstring>{otherName}; });
    }

    [[nodiscard]] std::string record() const { return test::contentOf(m_folder.path() / "record"); }

    test::TemporaryFolder m_folder;
    test::TestService m_audio{name, m_folder.path() / "record", L"a"};
    test::TestService m_dependent{otherName, m_folder.path() / "record", L"d"};
};

TEST_F(AudioServiceTest, StopsDependentsFirstAndStartsThoseLastThatRan) {
    service().restartAround([this] {
        EXPECT_FALSE(m_audio.isRunning());
        EXPECT_FALSE(m_dependent.isRunning());
    });
    EXPECT_EQ(record(), "+a+d-d-a+a+d");
    AudioService(otherName).stop();
    AudioService audio = service();
    audio.stop();
    audio.start();
    audio.start();
    EXPECT_EQ(record(), "+a+d-d-a+a+d-d-a+a") << "nothing is left to be started the second time";
    AudioService(name).stop();
    audio.restartAround([] {}); // as after a command that was ended between stop and start
    EXPECT_EQ(record(), "+a+d-d-a+a+d-d-a+a-a+a");
}

TEST_F(AudioServiceTest, StartsAgainWhenTheChangeFails) {
    const auto fails = [] { service().restartAround([] { throw InstallRefusal(Obstacle::diskFull, "No room."); }); };
    expectRefusal(fails, Obstacle::diskFull, "No room.");
    EXPECT_THROW(service().restartAround([] { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_EQ(record(), "+a+d-d-a+a+d-d-a+a+d");
    m_audio.behave(L"dies");
    expectRefusal(fails, Obstacle::diskFull,
                  "No room. The service \"TovixTestAudio\" does not come back: it has ended at once (code 10).");
    EXPECT_TRUE(m_dependent.isRunning()) << "the others are started all the same";
}

TEST_F(AudioServiceTest, NamesWhatDoesNotStopAndStartsTheOthersAgain) {
    m_audio.behave(L"hangs-at-stop");
    AudioService(name, AudioService::timeLimitMs).restartAround([] {});
    constexpr DWORD shortMs = 3000; // the dependent has to keep to it too, on a busy machine
    expectRefusal([] { service(shortMs).stop(); }, Obstacle::audioService,
                  "The service \"TovixTestAudio\" does not stop: after 3 s it is still stopping. The service "
                  "\"TovixTestAudio\" does not come back: after 3 s it is still stopping.");
    EXPECT_TRUE(m_dependent.isRunning());
}

} // namespace
} // namespace tovix::install
