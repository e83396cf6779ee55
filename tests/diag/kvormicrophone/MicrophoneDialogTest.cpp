#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <vector>

#include "DialogTestSupport.hpp"
#include "diag/kvormicrophone/MicrophoneDialogCommon.hpp"
#include "diag/kvormicrophone/MicrophoneDlg.hpp"
#include "diag/kvormicrophone/MicrophoneTestMFCUI.hpp"
#include "diag/kvormicrophone/MicrophoneTestParameter.hpp"
#include "platform/audio/WaveFile.hpp"
#include "platform/kvo/System.hpp"
#include "platform/vesk5/host/Framework.hpp"
#include "support/CapturingLogSink.hpp"

namespace kvormicrophone {
namespace {

using namespace dialog;
using test::Buttons;
using test::TestDialog;
using test::TestDialogService;
using vesk5::TestResult;

bool logged(const kvo::test::CapturingLogSink& log, const std::string& logger,
            const std::string& text) {
    for (const std::string& message : log.messages(logger)) {
        if (message.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

bool raised(const kvo::test::CapturingLogSink& log, const std::string& key) {
    return logged(log, "vesk5", "Event " + key + " ");
}

// --- The progress dialog on the engine -------------------------------------

Buttons mfcButtons(const TestDialog& dialog) {
    return dialog.buttons(IDC_RECORD, IDC_PLAY, IDC_PASS, IDC_FAIL, IDC_CLOSE);
}

TEST(MicrophoneTestMFCUI, ButtonsFollowRecordPlayAndPass) {
    test::SimulatedPc pc("healthy-laptop.json");
    MicrophoneTestWin7 engine;
    MicrophoneTestMFCUI ui(IDD_MICROPHONE, &engine);
    engine.setUI(&ui);
    engine.setRecordingDuration(kRecordingMs);
    std::vector<Buttons> seen;
    int progressAtRecorded = -1;
    int step = 0;
    TestDialogService service([&](TestDialog& dialog) {
        if (step == 0 && dialog.listCount(IDC_INPUT_LIST) > 0 &&
            dialog.listCount(IDC_OUTPUT_LIST) > 0) {
            seen.push_back(mfcButtons(dialog));
            dialog.press(IDC_RECORD);
            seen.push_back(mfcButtons(dialog));
            step = 1;
        } else if (step == 1 && dialog.isEnabled(IDC_PLAY)) {
            progressAtRecorded = dialog.progress(IDC_PROGRESS);
            seen.push_back(mfcButtons(dialog));
            dialog.press(IDC_PLAY);
            seen.push_back(mfcButtons(dialog));
            step = 2;
        } else if (step == 2 && dialog.isEnabled(IDC_PASS)) {
            seen.push_back(mfcButtons(dialog));
            dialog.press(IDC_PASS);
            step = 3;
        }
    });
    ui.doModal(service);
    engine.setUI(nullptr);
    ASSERT_FALSE(service.timedOut);
    ASSERT_EQ(seen.size(), 5u);
    //                     record play   pass   fail  close
    EXPECT_EQ(seen[0], (Buttons{true, false, false, true, true}));   // lists filled
    EXPECT_EQ(seen[1], (Buttons{false, false, false, true, true}));  // recording
    EXPECT_EQ(seen[2], (Buttons{true, true, false, true, true}));    // recorded
    EXPECT_EQ(seen[3], (Buttons{false, false, false, true, true}));  // playing
    EXPECT_EQ(seen[4], (Buttons{true, true, true, true, true}));     // played
    EXPECT_EQ(progressAtRecorded, 100);
    EXPECT_EQ(engine.result(), TestResult::PASS());
    EXPECT_EQ(engine.recordingBuffer().pcmStorage.size(), 176400u * 3);
}

TEST(MicrophoneTestMFCUI, WithoutMicrophonesRecordAndPlayStayDisabled) {
    test::SimulatedPc pc("no-microphone.json");
    MicrophoneTestWin7 engine;
    MicrophoneTestMFCUI ui(IDD_MICROPHONE, &engine);
    engine.setUI(&ui);
    Buttons buttons{};
    TestDialogService service([&](TestDialog& dialog) {
        if (dialog.listCount(IDC_OUTPUT_LIST) > 0) {
            buttons = mfcButtons(dialog);
            dialog.press(IDC_CLOSE);
        }
    });
    ui.doModal(service);
    engine.setUI(nullptr);
    EXPECT_FALSE(buttons.record);
    EXPECT_FALSE(buttons.play);
    EXPECT_EQ(engine.result(), TestResult::USERABORTED());
}

TEST(MicrophoneTestMFCUI, AMicrophoneArrivingDuringARecordingOffersNothingUntilItEnds) {
    // The headset microphone is plugged in 1.5 s into the three-second recording.
    test::SimulatedPc pc("plug-in-during-run.json");
    MicrophoneTestWin7 engine;
    MicrophoneTestMFCUI ui(IDD_MICROPHONE, &engine);
    engine.setUI(&ui);
    engine.setRecordingDuration(kRecordingMs);
    int recordings = 0;
    int inputsDuringRecording = 0;
    bool offeredDuringRecording = false;
    std::optional<Buttons> afterRecording;
    TestDialogService service([&](TestDialog& dialog) {
        if (recordings == 0) {
            if (dialog.isEnabled(IDC_RECORD)) {
                dialog.press(IDC_RECORD);
                recordings = 1;
            }
        } else if (engine.stillRecording()) {
            inputsDuringRecording =
                std::max(inputsDuringRecording, dialog.listCount(IDC_INPUT_LIST));
            if (dialog.isEnabled(IDC_RECORD) || dialog.isEnabled(IDC_PLAY)) {
                offeredDuringRecording = true;
                // A person presses Record when it is offered; the recording it
                // aborts must not speak for the new one when it ends.
                if (dialog.isEnabled(IDC_RECORD) && recordings < 3) {
                    dialog.press(IDC_RECORD);
                    ++recordings;
                }
            }
        } else if (dialog.isEnabled(IDC_PLAY)) {
            afterRecording = mfcButtons(dialog);
            dialog.press(IDC_CLOSE);
        }
    });
    ui.doModal(service);
    engine.setUI(nullptr);
    ASSERT_FALSE(service.timedOut);
    EXPECT_EQ(inputsDuringRecording, 2);
    EXPECT_FALSE(offeredDuringRecording);
    EXPECT_EQ(recordings, 1);
    ASSERT_TRUE(afterRecording.has_value());
    EXPECT_EQ(*afterRecording, (Buttons{true, true, false, true, true}));
}

TEST(MicrophoneTestMFCUI, AnUnpluggedMicrophoneEndsTheRecordingWithAMessageNotAFullBar) {
    // The microphone array goes 2.5 s into the three-second recording.
    test::SimulatedPc pc("unplug-during-run.json");
    kvo::test::CapturingLogSink log;
    MicrophoneTestWin7 engine;
    MicrophoneTestMFCUI ui(IDD_MICROPHONE, &engine);
    engine.setUI(&ui);
    engine.setRecordingDuration(kRecordingMs);
    bool recorded = false;
    int progressAfterwards = -1;
    TestDialogService service([&](TestDialog& dialog) {
        if (!recorded) {
            if (dialog.isEnabled(IDC_RECORD)) {
                dialog.press(IDC_RECORD);
                recorded = true;
            }
        } else if (!engine.stillRecording() && dialog.isEnabled(IDC_PLAY)) {
            progressAfterwards = dialog.progress(IDC_PROGRESS);
            dialog.press(IDC_CLOSE);
        }
    });
    ui.doModal(service);
    engine.setUI(nullptr);
    ASSERT_FALSE(service.timedOut);
    EXPECT_EQ(service.messageBoxes, 1);
    EXPECT_NE(service.lastMessage.find("Microphone Test: Audio devices were added or removed"),
              std::string::npos)
        << service.lastMessage;
    EXPECT_TRUE(raised(log, "EndpointStateWarning"));
    EXPECT_GT(progressAfterwards, 0);
    EXPECT_LT(progressAfterwards, 100);
}

// --- The MCI dialog ---------------------------------------------------------

class MciDialogTest : public testing::Test {
protected:
    void SetUp() override { MicrophoneTestParameter::initialize(&test_); }
    void TearDown() override {
        MicrophoneTestParameter::shutdown();
        vesk5::host::Framework::instance().setPromptEnable(false);
    }
    void setParameter(const std::string& name, const std::string& value) {
        ASSERT_TRUE(test_.findParameter(name)->setFromText(value));
    }

    vesk5::Test test_{"MicrophoneTest", vesk5::DeviceCapability::Microphone(), nullptr};
};

Buttons mciButtons(const TestDialog& dialog) {
    return dialog.buttons(IDC_RECORD, IDC_PLAY, IDC_PASS, IDC_FAIL, IDC_CLOSE);
}

TEST_F(MciDialogTest, RecordsThreeSecondsSavesThemAndPlaysThemBack) {
    test::SimulatedPc pc("windows-xp.json");
    setParameter("BitsPerSample", "16");
    setParameter("NumberOfChannels", "1");
    setParameter("SamplesPerSec", "8000");
    CMicrophoneDlg dlg(IDD_MICROPHONE, pc.mci());
    std::vector<Buttons> seen;
    std::vector<std::string> inputs;
    int step = 0;
    TestDialogService service([&](TestDialog& dialog) {
        if (step == 0) {
            for (int i = 0; i < dialog.listCount(IDC_INPUT_LIST); ++i) {
                inputs.push_back(std::to_string(dialog.listItemData(IDC_INPUT_LIST, i)));
            }
            seen.push_back(mciButtons(dialog));
            dialog.press(IDC_RECORD);
            seen.push_back(mciButtons(dialog));
            step = 1;
        } else if (step == 1 && dialog.isEnabled(IDC_PLAY)) {
            seen.push_back(mciButtons(dialog));
            dialog.press(IDC_PLAY);
            seen.push_back(mciButtons(dialog));
            step = 2;
        } else if (step == 2 && dialog.isEnabled(IDC_PASS)) {
            seen.push_back(mciButtons(dialog));
            dialog.press(IDC_PASS);
        }
    });
    dlg.doModal(service);
    ASSERT_FALSE(service.timedOut);
    // Before Vista the default entry comes first, with item data 0.
    EXPECT_EQ(inputs, (std::vector<std::string>{"0", "0"}));
    ASSERT_EQ(seen.size(), 5u);
    //                     record play   pass   fail  close
    EXPECT_EQ(seen[0], (Buttons{true, false, false, false, true}));   // idle
    EXPECT_EQ(seen[1], (Buttons{false, false, false, false, true}));  // recording
    EXPECT_EQ(seen[2], (Buttons{true, true, false, false, true}));    // saved
    EXPECT_EQ(seen[3], (Buttons{false, false, false, false, true}));  // playing
    EXPECT_EQ(seen[4], (Buttons{true, true, true, true, true}));      // played
    EXPECT_EQ(dlg.result(), TestResult::PASS());

    std::string directory;
    ASSERT_TRUE(ui::temporaryDirectory(directory));
    EXPECT_EQ(dlg.recordingPath(), directory + "kvorecord.wav");
    audio::WaveFile file;
    ASSERT_TRUE(file.loadFile(dlg.recordingPath())) << file.error();
    EXPECT_EQ(file.format().nSamplesPerSec, 8000u);
    EXPECT_EQ(file.format().nChannels, 1);
    EXPECT_EQ(file.numBlocks(), 24000u);  // 3000 ms
    std::filesystem::remove(kvo::toPath(dlg.recordingPath()));
}

// Refuses to save, as a full disk would.
class UnsavingMci : public ui::sim::SimMciService {
public:
    using SimMciService::SimMciService;
    ui::MCIERROR save(ui::MCIDEVICEID, const std::string&) override {
        return ui::MCIERR_FILE_NOT_SAVED;
    }
};

TEST_F(MciDialogTest, AFailedSaveLeavesPlayDisabled) {
    test::SimulatedPc pc("windows-xp.json");
    UnsavingMci mci(audio::currentSystem());
    kvo::test::CapturingLogSink log;
    CMicrophoneDlg dlg(IDD_MICROPHONE, mci);
    std::optional<Buttons> afterSave;
    bool recorded = false;
    TestDialogService service([&](TestDialog& dialog) {
        if (!recorded) {
            dialog.press(IDC_RECORD);
            recorded = true;
        } else if (dialog.isEnabled(IDC_RECORD)) {
            afterSave = mciButtons(dialog);
            dialog.press(IDC_CLOSE);
        }
    });
    dlg.doModal(service);
    ASSERT_TRUE(afterSave.has_value());
    EXPECT_FALSE(afterSave->play);
    EXPECT_TRUE(raised(log, "MSG_FILE_NOT_SAVED"));
    EXPECT_TRUE(logged(log, "kvormicrophone", "Saving failed"));
    EXPECT_EQ(dlg.result(), TestResult::USERABORTED());
}

// Refuses to open the waveaudio device, or its time format, as a broken driver would.
class RefusingMci : public ui::sim::SimMciService {
public:
    RefusingMci(audio::AudioSystem& system, bool refuseOpen)
        : SimMciService(system), refuseOpen_(refuseOpen) {}
    ui::MCIERROR open(const std::string& element, ui::MCIDEVICEID& id) override {
        return refuseOpen_ ? ui::MCIERR_HARDWARE : SimMciService::open(element, id);
    }
    ui::MCIERROR setTimeFormatMilliseconds(ui::MCIDEVICEID id) override {
        return refuseOpen_ ? SimMciService::setTimeFormatMilliseconds(id) : ui::MCIERR_HARDWARE;
    }

private:
    bool refuseOpen_;
};

TEST_F(MciDialogTest, ARecordThatCannotOpenOrSetItsTimeFormatSaysSoAndOffersRecordAndFail) {
    test::SimulatedPc pc("windows-xp.json");
    for (const bool refuseOpen : {true, false}) {
        RefusingMci mci(audio::currentSystem(), refuseOpen);
        kvo::test::CapturingLogSink log;
        CMicrophoneDlg dlg(IDD_MICROPHONE, mci);
        std::optional<Buttons> afterRecord;
        TestDialogService service([&](TestDialog& dialog) {
            if (!afterRecord) {
                dialog.press(IDC_RECORD);
                afterRecord = mciButtons(dialog);
                dialog.press(IDC_FAIL);
            }
        });
        dlg.doModal(service);
        ASSERT_TRUE(afterRecord.has_value());
        EXPECT_EQ(service.messageBoxes, 1) << refuseOpen;
        EXPECT_NE(service.lastMessage.find("The recording device is in use."), std::string::npos)
            << refuseOpen;
        //                            record play   pass   fail  close
        EXPECT_EQ(*afterRecord, (Buttons{true, false, false, true, true})) << refuseOpen;
        EXPECT_TRUE(
            raised(log, refuseOpen ? "MSG_COULD_NOT_OPEN_DEVICE" : "MSG_NOT_SET_TIME_FORMAT"))
            << refuseOpen;
        EXPECT_EQ(dlg.result(), TestResult::FAIL()) << refuseOpen;
    }
}

// A PC without any wave device, as the device lists see it.
class DevicelessMci : public ui::sim::SimMciService {
public:
    using SimMciService::SimMciService;
    std::uint32_t waveInDeviceCount() override { return 0; }
    std::uint32_t waveOutDeviceCount() override { return 0; }
};

TEST_F(MciDialogTest, DetectionPromptNeedsTheParameterAndTheFrameworkSwitch) {
    test::SimulatedPc pc("healthy-laptop.json");  // Windows 10: no default entries
    DevicelessMci mci(audio::currentSystem());
    for (const bool parameter : {false, true}) {
        for (const bool framework : {false, true}) {
            setParameter("bPromptEnable", parameter ? "true" : "false");
            vesk5::host::Framework::instance().setPromptEnable(framework);
            kvo::test::CapturingLogSink log;
            CMicrophoneDlg dlg(IDD_MICROPHONE, mci);
            TestDialogService service(nullptr);
            dlg.doModal(service);
            EXPECT_EQ(service.messageBoxes, parameter && framework ? 1 : 0)
                << "bPromptEnable " << parameter << ", framework " << framework;
            EXPECT_EQ(dlg.result(), TestResult::CANNOTRUN());
            EXPECT_TRUE(raised(log, "MSG_DOES_NOT_SUPPORT_RECORDING"));
            EXPECT_TRUE(
                logged(log, "kvormicrophone", "No input mixer devices found.  Cannot run."));
            if (parameter && framework) {
                EXPECT_NE(service.lastMessage.find("No input device was detected"),
                          std::string::npos);
            }
        }
    }
}

}  // namespace
}  // namespace kvormicrophone
