#include "diag/kvormicrophone/Test/MicrophoneBoostControl.hpp"

#include <gtest/gtest.h>

#include "support/CapturingLogSink.hpp"

namespace kvormicrophone {
namespace {

using audio::HResult;

class FakeLevel : public audio::IAudioVolumeLevel {
public:
    FakeLevel(std::uint32_t channels, float minDb, float maxDb, float levelDb)
        : minDb_(minDb), maxDb_(maxDb), levels_(channels, levelDb) {}
    HResult GetChannelCount(std::uint32_t& count) override {
        count = static_cast<std::uint32_t>(levels_.size());
        return audio::kOk;
    }
    HResult GetLevelRange(std::uint32_t, float& minDb, float& maxDb, float& stepDb) override {
        minDb = minDb_;
        maxDb = maxDb_;
        stepDb = 1.0F;
        return audio::kOk;
    }
    HResult GetLevel(std::uint32_t channel, float& levelDb) override {
        levelDb = levels_.at(channel);
        return audio::kOk;
    }
    HResult SetLevel(std::uint32_t channel, float levelDb) override {
        levels_.at(channel) = levelDb;
        return audio::kOk;
    }
    float minDb_, maxDb_;
    std::vector<float> levels_;
};

class FakePart : public audio::IPart,
                 public audio::IPartsList,
                 public std::enable_shared_from_this<FakePart> {
public:
    explicit FakePart(std::shared_ptr<FakeLevel> level = nullptr) : level_(std::move(level)) {}
    HResult GetName(std::string& name) override {
        name = "part";
        return audio::kOk;
    }
    HResult GetLocalId(std::uint32_t& id) override {
        id = 0;
        return audio::kOk;
    }
    HResult GetPartType(audio::PartType& type) override {
        type = audio::Subunit;
        return audio::kOk;
    }
    HResult EnumPartsOutgoing(std::shared_ptr<audio::IPartsList>& parts) override {
        if (next_.empty()) {
            return audio::kNotFound;
        }
        parts = shared_from_this();
        return audio::kOk;
    }
    HResult EnumPartsIncoming(std::shared_ptr<audio::IPartsList>&) override {
        return audio::kNotFound;
    }
    HResult Activate(std::shared_ptr<audio::IAudioVolumeLevel>& level) override {
        if (!level_) {
            return audio::kNoInterface;
        }
        level = level_;
        return audio::kOk;
    }
    HResult GetCount(std::uint32_t& count) override {
        count = static_cast<std::uint32_t>(next_.size());
        return audio::kOk;
    }
    HResult GetPart(std::uint32_t index, std::shared_ptr<audio::IPart>& part) override {
        part = next_.at(index);
        return audio::kOk;
    }
    std::shared_ptr<FakeLevel> level_;
    std::vector<std::shared_ptr<FakePart>> next_;
};

class FakeConnector : public audio::IConnector {
public:
    explicit FakeConnector(std::shared_ptr<FakePart> part) : part_(std::move(part)) {}
    HResult GetConnectedTo(std::shared_ptr<audio::IConnector>& other) override {
        other = std::make_shared<FakeConnector>(part_);
        return part_ ? audio::kOk : audio::kNotFound;
    }
    HResult QueryInterface(std::shared_ptr<audio::IPart>& part) override {
        part = part_;
        return audio::kOk;
    }
    std::shared_ptr<FakePart> part_;
};

// A microphone whose only interesting property is the topology behind it.
class FakeMicrophone : public audio::AudioDevice {
public:
    explicit FakeMicrophone(std::shared_ptr<FakePart> root, bool hasConnector = true)
        : root_(std::move(root)), hasConnector_(hasConnector) {}
    const std::string& id() const override { return id_; }
    audio::EDataFlow dataFlow() const override { return audio::eCapture; }
    audio::DeviceProperty deviceProperty() const override {
        return {"Fake Microphone", "Fake", "Fake", {}};
    }
    std::uint32_t state() const override { return audio::DEVICE_STATE_ACTIVE; }
    bool refresh() override { return true; }
    bool isDefaultEndpoint() override { return true; }
    std::uint32_t compatibleFormats(kvo::Array<audio::tWAVEFORMATEX>&,
                                    audio::_AUDCLNT_SHAREMODE) override {
        return 0;
    }
    HResult isFormatSupported(const audio::WAVEFORMATEX&, audio::_AUDCLNT_SHAREMODE) override {
        return audio::kFail;
    }
    std::shared_ptr<audio::VolumeControllerInterface> volumeControl() override { return nullptr; }
    std::uint32_t jackInfo(kvo::Array<audio::KSJACK_DESCRIPTION>&) override { return 0; }
    std::uint32_t connector(
        kvo::Array<audio::AudioComponent<audio::IConnector>>& connectors) override {
        connectors.clear();
        if (hasConnector_) {
            connectors.append({std::make_shared<FakeConnector>(root_), {}});
        }
        return connectors.size();
    }
    bool waveLegacyDeviceID(std::uint32_t&) override { return false; }

private:
    std::string id_ = "fake";
    std::shared_ptr<FakePart> root_;
    bool hasConnector_;
};

TEST(MicrophoneBoostControl, ChainOfTwoStagesIsRaisedOnEveryChannelAndRestoredOnChannelZero) {
    auto first = std::make_shared<FakeLevel>(2, 0.0F, 30.0F, 10.0F);
    auto second = std::make_shared<FakeLevel>(2, -12.0F, 20.0F, 0.0F);
    auto root = std::make_shared<FakePart>();           // the adapter's connector: no gain
    auto boost = std::make_shared<FakePart>(first);     // "Microphone Boost"
    auto capture = std::make_shared<FakePart>(second);  // "Capture" volume
    root->next_ = {boost};
    boost->next_ = {capture};
    FakeMicrophone microphone(root);

    MicrophoneBoostControl control;
    ASSERT_TRUE(control.initialize(microphone));
    EXPECT_EQ(control.stageCount(), 2u);
    ASSERT_TRUE(control.maximizeBoost());
    EXPECT_EQ(first->levels_, (std::vector<float>{30.0F, 30.0F}));
    EXPECT_EQ(second->levels_, (std::vector<float>{20.0F, 20.0F}));
    control.restore();
    EXPECT_EQ(first->levels_, (std::vector<float>{10.0F, 30.0F}));
    EXPECT_EQ(second->levels_, (std::vector<float>{0.0F, 20.0F}));
    control.restore();  // a second restore touches nothing
    EXPECT_EQ(first->levels_, (std::vector<float>{10.0F, 30.0F}));
}

TEST(MicrophoneBoostControl, TopologyWithoutVolumePartsHasNoBoost) {
    auto root = std::make_shared<FakePart>();
    root->next_ = {std::make_shared<FakePart>()};
    FakeMicrophone microphone(root);
    kvo::test::CapturingLogSink log;
    MicrophoneBoostControl control;
    EXPECT_FALSE(control.initialize(microphone));
    EXPECT_TRUE(
        log.contains("kvormicrophone", "99 Microphone boost controller enumeration failed"));
    EXPECT_FALSE(control.maximizeBoost());
    EXPECT_TRUE(
        log.contains("kvormicrophone", "122 This microphone Fake Microphone has no boost control"));
}

TEST(MicrophoneBoostControl, EndpointWithoutConnectorIsADriverProblem) {
    FakeMicrophone microphone(nullptr, false);
    kvo::test::CapturingLogSink log;
    MicrophoneBoostControl control;
    EXPECT_FALSE(control.initialize(microphone));
    EXPECT_TRUE(
        log.contains("kvormicrophone",
                     "79 Possible driver problem. Endpoint type must have at least 1 connector"));
    control.restore();
}

}  // namespace
}  // namespace kvormicrophone
