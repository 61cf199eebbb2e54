/** Microphone and speaker. The plug-in keeps the devices, so every test runs in a process of its own. */
#include <limits>
#include <string>
#include <vector>

#include "fixture.h"
#include "fresh_process.h"

namespace unit {
namespace {

/** One of the four functions, with the steps and lines expected of it. */
struct Setter {
    const char* function;
    int (*set)(int value);
    const char* argument; /**< as the first line shows it */
    const char* fetch;    /**< the device asked for, which is the name of a step */
    const char* question;
    const char* forwarded;
    const char* absent;      /**< error line */
    const char* unsupported; /**< error line */
    bool mutes;
};

const Setter setters[] = {
    {"VNSetMicVol", VNSetMicVol, "vol=", "IMicrophone::Microphone", "IMicrophone::IsSupportVolumeControl",
     "IMicrophone::SetVolume", "!mic,current microphone is null", "!mic->IsSupportVolumeControl()", false},
    {"VNSetMicMute", VNSetMicMute, "b_mute=", "IMicrophone::Microphone", "IMicrophone::IsSupportMute",
     "IMicrophone::SetMute", "!mic,current microphone is null", "!mic->IsSupportMute()", true},
    {"VNSetSpeakerVol", VNSetSpeakerVol, "vol=", "ISpeaker::Speaker", "ISpeaker::IsSupportVolumeControl",
     "ISpeaker::SetVolume", "!speaker,current Speaker is null", "!speaker->IsSupportVolumeControl()", false},
    {"VNSetSpeakerMute", VNSetSpeakerMute, "b_mute=", "ISpeaker::Speaker", "ISpeaker::IsSupportMute",
     "ISpeaker::SetMute", "!speaker,current Speaker is null", "!speaker->IsSupportMute()", true},
};

class SoundDeviceTest : public PluginTest, public testing::WithParamInterface<Setter> {
  protected:
    static std::string shown(const Setter& setter, int value) {
        return line(29, "\033[36m", "api/vornisa_device.cpp", setter.function,
                    setter.argument + std::to_string(value));
    }
    static std::string refused(const Setter& setter, const std::string& text) {
        return line(8, red, "api/vornisa_device.cpp", setter.function, text);
    }
    static std::string fetched(const Setter& setter) { return std::string(setter.fetch) + "(vornisa)"; }
    static std::string asked(const Setter& setter) { return std::string(setter.question) + "()"; }
    static std::string forwarded(const Setter& setter, int value) {
        const std::string text = !setter.mutes ? std::to_string(value) : value ? "true" : "false";
        return std::string(setter.forwarded) + "(" + text + ")";
    }
};

TEST_P(SoundDeviceTest, LogsTheValueQueriesSupportAndForwards) {
    inFreshProcess([this] {
        const Setter& setter = GetParam();
        EXPECT_EQ(setter.set(5), VNRES_SUCCEED);
        EXPECT_EQ(happened(),
                  (Events{shown(setter, 5), fetched(setter), asked(setter), forwarded(setter, 5)}));
    });
}

TEST_P(SoundDeviceTest, ForwardsEveryValueAndFetchesTheDeviceOnce) {
    inFreshProcess([this] {
        const Setter& setter = GetParam();
        EXPECT_EQ(setter.set(1), VNRES_SUCCEED);
        happened();
        for (int value :
             {0, 1, -1, 100, 256, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
            EXPECT_EQ(setter.set(value), VNRES_SUCCEED);
            EXPECT_EQ(happened(), (Events{shown(setter, value), asked(setter), forwarded(setter, value)}));
        }
    });
}

TEST_P(SoundDeviceTest, AnAbsentDeviceIsFetchedAgain) {
    inFreshProcess([this] {
        const Setter& setter = GetParam();
        script.refuse(setter.fetch);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(setter.set(-3), VNRES_WRONG_DEVICE);
            EXPECT_EQ(happened(),
                      (Events{shown(setter, -3), fetched(setter), refused(setter, setter.absent)}));
        }
        script.reset();
        EXPECT_EQ(setter.set(-3), VNRES_SUCCEED);
        EXPECT_EQ(happened(),
                  (Events{shown(setter, -3), fetched(setter), asked(setter), forwarded(setter, -3)}));
    });
}

TEST_P(SoundDeviceTest, AnAbsentDeviceDoesNotAffectTheOtherOne) {
    inFreshProcess([this] {
        script.refuse(GetParam().fetch);
        for (const Setter& other : setters) {
            const bool same = std::string(other.fetch) == GetParam().fetch;
            EXPECT_EQ(other.set(1), same ? VNRES_WRONG_DEVICE : VNRES_SUCCEED) << other.function;
        }
    });
}

TEST_P(SoundDeviceTest, ADeviceWithoutSupportIsRefused) {
    inFreshProcess([this] {
        const Setter& setter = GetParam();
        script.refuse(setter.question);
        EXPECT_EQ(setter.set(9), VNRES_UNSUPPORTED);
        EXPECT_EQ(happened(), (Events{shown(setter, 9), fetched(setter), asked(setter),
                                      refused(setter, setter.unsupported)}));
        // The device's other setting still works, and the device is not fetched again.
        for (const Setter& other : setters) {
            if (other.function == setter.function || std::string(other.fetch) != setter.fetch) continue;
            EXPECT_EQ(other.set(9), VNRES_SUCCEED);
            EXPECT_EQ(happened(), (Events{shown(other, 9), asked(other), forwarded(other, 9)}));
        }
    });
}

TEST_P(SoundDeviceTest, BothFunctionsOfADeviceFetchItOnce) {
    inFreshProcess([this] {
        int fetches = 0;
        EXPECT_EQ(GetParam().set(1), VNRES_SUCCEED);
        for (const Setter& other : setters) EXPECT_EQ(other.set(1), VNRES_SUCCEED);
        for (const std::string& event : happened()) fetches += event == fetched(GetParam());
        EXPECT_EQ(fetches, 1);
    });
}

TEST_P(SoundDeviceTest, AnExceptionIsLogged) {
    inFreshProcess([this] {
        const Setter& setter = GetParam();
        script.throwAt(setter.fetch);
        EXPECT_EQ(setter.set(1), VNRES_FAIL);
        EXPECT_EQ(happened(),
                  (Events{shown(setter, 1), fetched(setter), refused(setter, "exception:std::bad_alloc")}));
    });
}

INSTANTIATE_TEST_SUITE_P(Setters, SoundDeviceTest, testing::ValuesIn(setters),
                         [](const auto& param) { return std::string(param.param.function); });

}  // namespace
}  // namespace unit
