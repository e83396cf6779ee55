#include "platform/ui/sim/SimMciService.hpp"

#include <gtest/gtest.h>

#include <memory>

#include "platform/audio/sim/SimulatedSystem.hpp"
#include "platform/kvo/VirtualClock.hpp"
#include "support/TempDirectory.hpp"

namespace ui::sim {
namespace {

class SimMciServiceTest : public testing::Test {
protected:
    kvo::VirtualClock clock_;
    kvo::ScopedClock installed_{clock_};
    kvo::ClockParticipant participant_{clock_};
    std::unique_ptr<audio::sim::SimulatedSystem> system_ = audio::sim::createSimulatedSystem("");
    SimMciService mci_{*system_};
    kvo::test::TempDirectory dir_;
};

TEST_F(SimMciServiceTest, WaveDevicesAreTheActiveEndpoints) {
    // The built-in laptop: microphone array and speakers active, the jacks empty.
    EXPECT_EQ(mci_.waveInDeviceCount(), 1u);
    EXPECT_EQ(mci_.waveOutDeviceCount(), 1u);
    std::string name;
    ASSERT_TRUE(mci_.waveInProductName(0, name));
    EXPECT_EQ(name.size(), 31u);  // cut to winmm's 32 characters with the terminator
    EXPECT_EQ(name.rfind("Microphone Array", 0), 0u);
    EXPECT_FALSE(mci_.waveInProductName(1, name));
}

TEST_F(SimMciServiceTest, RefusalsAnswerWithTheirErrorCodes) {
    MCIDEVICEID id = kNoMciDevice;
    EXPECT_EQ(mci_.open(dir_.file("missing.wav"), id), MCIERR_FILE_NOT_FOUND);
    EXPECT_EQ(mci_.setTimeFormatMilliseconds(12345), MCIERR_INVALID_DEVICE_ID);
    ASSERT_EQ(mci_.open("", id), 0u);
    EXPECT_EQ(mci_.setInputFormat(id, 5, audio::makePcmFormat(1, 11025, 8)),
              MCIERR_WAVE_INPUTSUNSUITABLE);  // no sixth input device
    EXPECT_EQ(mci_.setInputFormat(id, 0, audio::makePcmFormat(2, 48000, 24)),
              MCIERR_WAVE_INPUTSUNSUITABLE);  // 24 bits is not a wave format
    EXPECT_EQ(mci_.setOutput(id, 1), MCIERR_WAVE_OUTPUTSUNSUITABLE);
    EXPECT_EQ(mci_.save(id, dir_.file("nothing.wav")), MCIERR_FILE_NOT_SAVED);  // nothing recorded
    EXPECT_EQ(mci_.play(id), MCIERR_HARDWARE);
    EXPECT_FALSE(mci_.errorText(MCIERR_FILE_NOT_SAVED).empty());
    EXPECT_LE(mci_.errorText(999).size(), 255u);
    mci_.close(id);
}

}  // namespace
}  // namespace ui::sim
