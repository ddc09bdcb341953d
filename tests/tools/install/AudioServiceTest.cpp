// The audio service's place is taken by services that the tests install. Wine does not tell what depends on a
// service, so the tests say it.

#include "install/AudioService.h"
#include "tools/install/TestService.h"

#include <gtest/gtest.h>

namespace tovix::install {
namespace {

using test::contentOf;

class AudioServiceTest : public testing::Test {
protected:
    static constexpr const wchar_t* name = L"TovixTestAudio";
    static constexpr const wchar_t* otherName = L"TovixTestDependent";
    /// For what hangs; the others have to keep to it too, on a busy machine.
    static constexpr DWORD shortMs = 3000;

    [[nodiscard]] static AudioService service(DWORD limitMs = AudioService::timeLimitMs) {
        return AudioService(name, limitMs, [](SC_HANDLE) { return std::vector<std::wstring>{otherName}; });
    }

    /// The obstacle and the sentence; "none" where nothing is refused.
    static std::string refusalOf(const std::function<void()>& action) {
        try {
            action();
            return "none";
        } catch (const InstallRefusal& refusal) {
            return std::to_string(static_cast<int>(refusal.status())) + " " + refusal.what();
        }
    }
    static std::string refused(Obstacle obstacle, const std::string& sentence) {
        return std::to_string(static_cast<int>(obstacle)) + " " + sentence;
    }

    [[nodiscard]] std::string refusalOfComingBackAs(const wchar_t* behaviour) const {
        AudioService audio = service(shortMs);
        audio.stop();
        m_audio.behave(behaviour);
        return refusalOf([&audio] { audio.start(); });
    }

    [[nodiscard]] std::string record() const { return contentOf(m_folder.path() / "record"); }

    test::TemporaryFolder m_folder;
    test::TestService m_audio{name, m_folder.path() / "record", L"a"};
    test::TestService m_dependent{otherName, m_folder.path() / "record", L"d"};
};

TEST_F(AudioServiceTest, StopsDependentsFirstAndStartsThemLast) {
    AudioService audio = service();
    audio.restartAround([this] {
        EXPECT_FALSE(m_audio.isRunning());
        EXPECT_FALSE(m_dependent.isRunning());
    });
    EXPECT_EQ(record(), "+a+d-d-a+a+d");
    EXPECT_TRUE(m_dependent.isRunning());
}

TEST_F(AudioServiceTest, StartsTheServiceAlwaysAndOnlyThoseDependentsThatRan) {
    AudioService(otherName).stop();
    AudioService audio = service();
    audio.stop();
    audio.start();
    EXPECT_EQ(record(), "+a+d-d-a+a");
    audio.start();
    EXPECT_EQ(record(), "+a+d-d-a+a") << "nothing is left to be started";
    AudioService(name).stop();
    audio.restartAround([] {}); // as after a command that was ended between stop and start
    EXPECT_EQ(record(), "+a+d-d-a+a-a+a");
}

TEST_F(AudioServiceTest, StartsAgainWhenTheChangeFails) {
    const auto fails = [] { throw InstallRefusal(Obstacle::diskFull, "No room."); };
    EXPECT_EQ(refusalOf([&] { service().restartAround(fails); }), refused(Obstacle::diskFull, "No room."));
    EXPECT_THROW(service().restartAround([] { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_EQ(record(), "+a+d-d-a+a+d-d-a+a+d");
    m_audio.behave(L"dies");
    EXPECT_EQ(refusalOf([&] { service().restartAround(fails); }),
              refused(Obstacle::diskFull,
                      "No room. The service \"TovixTestAudio\" does not come back: it has ended at "
                      "once (code 10)."));
}

TEST_F(AudioServiceTest, NamesWhatDoesNotStopAndStartsTheOthersAgain) {
    m_audio.behave(L"hangs-at-stop");
    AudioService(name, AudioService::timeLimitMs).restartAround([] {});
    EXPECT_EQ(refusalOf([] { service(shortMs).stop(); }),
              refused(Obstacle::audioService,
                      "The service \"TovixTestAudio\" does not stop: after 3 s it is still stopping. The service "
                      "\"TovixTestAudio\" does not come back: after 3 s it is still stopping."));
    EXPECT_TRUE(m_dependent.isRunning());
}

TEST_F(AudioServiceTest, NamesWhatDoesNotComeBack) {
    EXPECT_EQ(refusalOfComingBackAs(L"hangs-at-start"),
              refused(Obstacle::audioService,
                      "The service \"TovixTestAudio\" does not come back: after 3 s it is still starting."));
    EXPECT_TRUE(m_dependent.isRunning()) << "the others are started all the same";
}

TEST_F(AudioServiceTest, NamesWhatEndsAsSoonAsItIsBack) {
    EXPECT_EQ(refusalOfComingBackAs(L"dies"),
              refused(Obstacle::audioService,
                      "The service \"TovixTestAudio\" does not come back: it has ended at once (code 10)."));
}

TEST_F(AudioServiceTest, RefusesAServiceThatThereIsNot) {
    EXPECT_EQ(refusalOf([] {
                  AudioService(L"TovixTestNone").stop();
              }).find(refused(Obstacle::audioService, "The service \"TovixTestNone\" cannot be reached: ")),
              0U);
}

} // namespace
} // namespace tovix::install
