#include "diag/kvormicrophone/Test/MicManagerWin7.hpp"

#include <gtest/gtest.h>

#include "SimulatedPc.hpp"

namespace kvormicrophone {
namespace {

// The gain stages behind a capture endpoint, depth first.
std::vector<std::shared_ptr<audio::IAudioVolumeLevel>> gainStages(audio::AudioDevice& device) {
    std::vector<std::shared_ptr<audio::IAudioVolumeLevel>> stages;
    kvo::Array<audio::AudioComponent<audio::IConnector>> connectors;
    std::shared_ptr<audio::IConnector> adapter;
    std::shared_ptr<audio::IPart> root;
    if (device.connector(connectors) == 0 ||
        connectors[0].component->GetConnectedTo(adapter) != audio::kOk ||
        adapter->QueryInterface(root) != audio::kOk) {
        return stages;
    }
    std::vector<std::shared_ptr<audio::IPart>> pending{root};
    while (!pending.empty()) {
        const auto part = pending.back();
        pending.pop_back();
        std::shared_ptr<audio::IAudioVolumeLevel> level;
        if (part->Activate(level) == audio::kOk) {
            stages.push_back(level);
        }
        std::shared_ptr<audio::IPartsList> next;
        std::uint32_t count = 0;
        if (part->EnumPartsOutgoing(next) == audio::kOk && next->GetCount(count) == audio::kOk) {
            for (std::uint32_t i = 0; i < count; ++i) {
                std::shared_ptr<audio::IPart> child;
                if (next->GetPart(i, child) == audio::kOk) {
                    pending.push_back(child);
                }
            }
        }
    }
    return stages;
}

float channelDb(audio::IAudioVolumeLevel& stage, std::uint32_t channel) {
    float level = 0.0F;
    stage.GetLevel(channel, level);
    return level;
}

std::uint32_t indexOf(MicManagerWin7& manager, const std::string& id) {
    for (std::uint32_t i = 0; i < manager.micDevices().size(); ++i) {
        if (manager.micDevices()[i]->id() == id) {
            return i;
        }
    }
    return UINT32_MAX;
}

TEST(MicManagerWin7, BoostIsMaximalOnEveryChannelAndOnlyChannelZeroComesBack) {
    test::SimulatedPc pc;
    const auto microphone = pc.endpoint("mic-array");
    const auto stages = gainStages(*microphone);
    ASSERT_EQ(stages.size(), 1u);
    const float before = channelDb(*stages[0], 0);
    {
        MicManagerWin7 manager;
        manager.refreshDeviceStates();
        ASSERT_TRUE(manager.boostMicrophone(indexOf(manager, "mic-array")));
        EXPECT_FLOAT_EQ(channelDb(*stages[0], 0), 30.0F);
        EXPECT_FLOAT_EQ(channelDb(*stages[0], 1), 30.0F);
    }
    EXPECT_FLOAT_EQ(channelDb(*stages[0], 0), before);
    EXPECT_FLOAT_EQ(channelDb(*stages[0], 1), 30.0F);
}

}  // namespace
}  // namespace kvormicrophone
