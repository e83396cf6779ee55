// The operating system's MCI as the pre-Vista dialog drives it: record three
// seconds into kvorecord.wav in the temporary directory, play the file back.
// Needs an audio device: under Wine, a PulseAudio server (wine_mci_test.sh).
#include "platform/ui/win32/WinMciService.hpp"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <string>

#include "platform/audio/WaveFile.hpp"

namespace {

constexpr std::uint32_t kRecordingMs = 3000;

// Polls the device's mode until it leaves `busyMode`; false after `limitMs`.
bool waitWhileMode(ui::MciService& mci, ui::MCIDEVICEID id, std::uint32_t busyMode, DWORD limitMs) {
    const ULONGLONG until = GetTickCount64() + limitMs;
    std::uint32_t mode = busyMode;
    while (mci.statusMode(id, mode) == 0 && mode == busyMode) {
        if (GetTickCount64() >= until) {
            return false;
        }
        Sleep(20);
    }
    return true;
}

TEST(WinMciService, ListsDevicesRecordsThreeSecondsIntoKvorecordWavPlaysThemAndRefusesStrays) {
    ui::win32::WinMciService mci;
    ASSERT_GE(mci.waveInDeviceCount(), 1u);
    ASSERT_GE(mci.waveOutDeviceCount(), 1u);
    std::string name;
    EXPECT_TRUE(mci.waveInProductName(0, name) && !name.empty());
    EXPECT_TRUE(mci.waveOutProductName(0, name) && !name.empty());
    EXPECT_FALSE(mci.waveInProductName(mci.waveInDeviceCount() + 5, name));

    std::string directory;
    ASSERT_TRUE(ui::temporaryDirectory(directory));
    const std::string path = directory + "kvorecord.wav";
    std::remove(path.c_str());

    ui::MCIDEVICEID id = ui::kNoMciDevice;
    ASSERT_EQ(mci.open("", id), 0u);
    ASSERT_EQ(mci.setTimeFormatMilliseconds(id), 0u);
    audio::WAVEFORMATEX format;
    format.wFormatTag = audio::WAVE_FORMAT_PCM;
    format.nChannels = 1;
    format.nSamplesPerSec = 22050;
    format.wBitsPerSample = 16;
    format.nBlockAlign = 2;
    format.nAvgBytesPerSec = 44100;
    ASSERT_EQ(mci.setInputFormat(id, 0, format), 0u);
    ASSERT_EQ(mci.record(id, 0, kRecordingMs), 0u);
    std::uint32_t mode = 0;
    ASSERT_EQ(mci.statusMode(id, mode), 0u);
    EXPECT_EQ(mode, ui::MCI_MODE_RECORD);
    EXPECT_TRUE(waitWhileMode(mci, id, ui::MCI_MODE_RECORD, kRecordingMs + 5000));
    EXPECT_EQ(mci.stop(id), 0u);
    ASSERT_EQ(mci.save(id, path), 0u);
    EXPECT_EQ(mci.close(id), 0u);

    audio::WaveFile recording;
    ASSERT_TRUE(recording.loadFile(path)) << path << ": " << recording.error();
    EXPECT_EQ(recording.fileFormat().nSamplesPerSec, 22050u);
    EXPECT_EQ(recording.fileFormat().nChannels, 1u);
    // Three seconds, give or take what the device delivers per buffer.
    const double seconds = static_cast<double>(recording.numBlocks()) / 22050.0;
    EXPECT_GT(seconds, 2.5);
    EXPECT_LT(seconds, 3.5);

    ASSERT_EQ(mci.open(path, id), 0u);
    ASSERT_EQ(mci.setOutput(id, 0), 0u);
    ASSERT_EQ(mci.play(id), 0u);
    ASSERT_EQ(mci.statusMode(id, mode), 0u);
    EXPECT_EQ(mode, ui::MCI_MODE_PLAY);
    EXPECT_TRUE(waitWhileMode(mci, id, ui::MCI_MODE_PLAY, kRecordingMs + 5000));
    EXPECT_EQ(mci.close(id), 0u);
    std::remove(path.c_str());

    id = ui::kNoMciDevice;
    const ui::MCIERROR missing = mci.open("C:\\no such folder\\nothing.wav", id);
    EXPECT_NE(missing, 0u);
    EXPECT_EQ(id, ui::kNoMciDevice);
    EXPECT_FALSE(mci.errorText(missing).empty());
    // A device never opened; all bits set would mean every device of the program to winmm.
    EXPECT_EQ(mci.close(4321), ui::MCIERR_INVALID_DEVICE_ID);
    EXPECT_EQ(mci.statusMode(4321, mode), ui::MCIERR_INVALID_DEVICE_ID);
}

}  // namespace
