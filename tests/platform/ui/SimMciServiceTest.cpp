#include "platform/ui/sim/SimMciService.hpp"

#include <gtest/gtest.h>

#include <memory>

#include "platform/audio/sim/SimulatedSystem.hpp"
#include "platform/kvo/VirtualClock.hpp"

namespace ui::sim {
namespace {

class SimMciServiceTest : public testing::Test {
protected:
    kvo::VirtualClock clock_;
    kvo::ScopedClock installed_{clock_};
    kvo::ClockParticipant participant_{clock_};
    std::unique_ptr<audio::sim::SimulatedSystem> system_ = audio::sim::createSimulatedSystem("");
    SimMciService mci_{*system_};
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

}  // namespace
}  // namespace ui::sim
