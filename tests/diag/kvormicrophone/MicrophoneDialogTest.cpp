#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include "Test/SimulatedPc.hpp"
#include "diag/kvormicrophone/MicrophoneDialogCommon.hpp"
#include "diag/kvormicrophone/MicrophoneDlg.hpp"
#include "diag/kvormicrophone/MicrophoneTestMFCUI.hpp"
#include "diag/kvormicrophone/MicrophoneTestParameter.hpp"
#include "platform/kvo/System.hpp"
#include "platform/vesk5/host/Framework.hpp"
#include "support/CapturingLogSink.hpp"
#include "support/TestDialog.hpp"

namespace kvormicrophone {
namespace {

using namespace dialog;
using ui::test::TestDialog;
using ui::test::TestDialogService;
using vesk5::TestResult;

struct Buttons {
    bool record;
    bool play;
    bool pass;
    bool fail;
    bool close;
    bool operator==(const Buttons&) const = default;
};

bool raised(const kvo::test::CapturingLogSink& log, const std::string& key) {
    const std::vector<std::string> messages = log.messages("vesk5");
    return std::any_of(messages.begin(), messages.end(), [&](const std::string& message) {
        return message.find("Event " + key + " ") != std::string::npos;
    });
}

Buttons buttonsOf(const TestDialog& dialog) {
    return {dialog.isEnabled(IDC_RECORD), dialog.isEnabled(IDC_PLAY), dialog.isEnabled(IDC_PASS),
            dialog.isEnabled(IDC_FAIL), dialog.isEnabled(IDC_CLOSE)};
}

// Presses Record, Play and Pass, each once it is offered, and notes the buttons
// before and after each press: ready, recording, recorded, playing, played.
struct RecordPlayPass {
    std::vector<Buttons> seen;
    int progressAtRecorded = -1;
    int step = 0;

    void operator()(TestDialog& dialog) {
        if (step == 0 && dialog.listCount(IDC_INPUT_LIST) > 0 &&
            dialog.listCount(IDC_OUTPUT_LIST) > 0) {
            press(dialog, IDC_RECORD);
        } else if (step == 1 && dialog.isEnabled(IDC_PLAY)) {
            progressAtRecorded = dialog.progress(IDC_PROGRESS);
            press(dialog, IDC_PLAY);
        } else if (step == 2 && dialog.isEnabled(IDC_PASS)) {
            seen.push_back(buttonsOf(dialog));
            dialog.press(IDC_PASS);
            step = 3;
        }
    }
    void press(TestDialog& dialog, int button) {
        seen.push_back(buttonsOf(dialog));
        dialog.press(button);
        seen.push_back(buttonsOf(dialog));
        ++step;
    }
};

// The engine's progress dialog on a scenario machine.
struct EngineDialog {
    explicit EngineDialog(const std::string& scenario) : pc(scenario) {
        engine.setUI(&ui);
        engine.setRecordingDuration(kRecordingMs);
    }
    ~EngineDialog() { engine.setUI(nullptr); }
    TestDialogService run(std::function<void(TestDialog&)> onIdle) {
        TestDialogService service(std::move(onIdle));
        ui.doModal(service);
        return service;
    }

    test::SimulatedPc pc;
    MicrophoneTestWin7 engine;
    MicrophoneTestMFCUI ui{IDD_MICROPHONE, &engine};
};

TEST(MicrophoneTestMFCUI, ButtonsFollowRecordPlayAndPass) {
    EngineDialog dialog("healthy-laptop.json");
    RecordPlayPass user;
    const TestDialogService service = dialog.run(std::ref(user));
    ASSERT_FALSE(service.timedOut);
    //                                    record play   pass   fail  close
    EXPECT_EQ(user.seen, (std::vector<Buttons>{{true, false, false, true, true},   // lists filled
                                               {false, false, false, true, true},  // recording
                                               {true, true, false, true, true},    // recorded
                                               {false, false, false, true, true},  // playing
                                               {true, true, true, true, true}}));  // played
    EXPECT_EQ(user.progressAtRecorded, 100);
    EXPECT_EQ(dialog.engine.result(), TestResult::PASS());
    EXPECT_EQ(dialog.engine.recordingBuffer().pcmStorage.size(), 176400u * 3);
}

TEST(MicrophoneTestMFCUI, WithoutMicrophonesRecordAndPlayStayDisabled) {
    EngineDialog dialog("no-microphone.json");
    std::optional<Buttons> buttons;
    dialog.run([&](TestDialog& d) {
        if (d.listCount(IDC_OUTPUT_LIST) > 0) {
            buttons = buttonsOf(d);
            d.press(IDC_CLOSE);
        }
    });
    ASSERT_TRUE(buttons.has_value());
    EXPECT_FALSE(buttons->record);
    EXPECT_FALSE(buttons->play);
    EXPECT_EQ(dialog.engine.result(), TestResult::USERABORTED());
}

// A microphone plugged in (at 1.5 s) or unplugged (at 2.5 s) during the three-second
// recording: nothing is offered until the recording ends, and a person pressing Record when it
// is offered cannot make the aborted recording speak for a new one. An unplug cuts the recording
// short with a message (its text and event are the end-to-end run's) and the bar stays where
// it stopped.
TEST(MicrophoneTestMFCUI, DevicesComingOrGoingDuringARecordingOfferNothingUntilItEnds) {
    struct Case {
        const char* scenario;
        int inputsDuringRecording;
        Buttons afterwards;
        int messageBoxes;
        bool fullBar;
    };
    //                                                 record play  pass   fail  close
    for (const Case& c :
         {Case{"plug-in-during-run.json", 2, {true, true, false, true, true}, 0, true},
          Case{"unplug-during-run.json", 1, {false, true, false, true, true}, 1, false}}) {
        SCOPED_TRACE(c.scenario);
        EngineDialog dialog(c.scenario);
        int recordings = 0;
        int inputsDuringRecording = 0;
        bool offeredDuringRecording = false;
        std::optional<Buttons> afterwards;
        int progressAfterwards = -1;
        const TestDialogService service = dialog.run([&](TestDialog& d) {
            if (recordings == 0) {
                if (d.isEnabled(IDC_RECORD)) {
                    d.press(IDC_RECORD);
                    recordings = 1;
                }
            } else if (dialog.engine.stillRecording()) {
                inputsDuringRecording =
                    std::max(inputsDuringRecording, d.listCount(IDC_INPUT_LIST));
                if (d.isEnabled(IDC_RECORD) || d.isEnabled(IDC_PLAY)) {
                    offeredDuringRecording = true;
                    if (d.isEnabled(IDC_RECORD) && recordings < 3) {
                        d.press(IDC_RECORD);
                        ++recordings;
                    }
                }
            } else if (d.isEnabled(IDC_PLAY)) {
                afterwards = buttonsOf(d);
                progressAfterwards = d.progress(IDC_PROGRESS);
                d.press(IDC_CLOSE);
            }
        });
        ASSERT_FALSE(service.timedOut);
        EXPECT_EQ(inputsDuringRecording, c.inputsDuringRecording);
        EXPECT_FALSE(offeredDuringRecording);
        EXPECT_EQ(recordings, 1);
        ASSERT_TRUE(afterwards.has_value());
        EXPECT_EQ(*afterwards, c.afterwards);
        EXPECT_EQ(service.messageBoxes, c.messageBoxes);
        EXPECT_GT(progressAfterwards, 0);
        EXPECT_EQ(progressAfterwards == 100, c.fullBar) << progressAfterwards;
    }
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

// What it records, and where, is the end-to-end runs'; the buttons in turn are the dialog's.
TEST_F(MciDialogTest, RecordPlayAndPassComeOnInTurn) {
    test::SimulatedPc pc("windows-xp.json");
    CMicrophoneDlg dlg(IDD_MICROPHONE, pc.mci());
    std::vector<std::string> inputs;
    RecordPlayPass user;
    TestDialogService service([&](TestDialog& dialog) {
        for (int i = 0; user.step == 0 && i < dialog.listCount(IDC_INPUT_LIST); ++i) {
            inputs.push_back(std::to_string(dialog.listItemData(IDC_INPUT_LIST, i)));
        }
        user(dialog);
    });
    dlg.doModal(service);
    ASSERT_FALSE(service.timedOut);
    // Before Vista the default entry comes first, with item data 0; then the one active
    // microphone, its name cut to the 31 characters winmm keeps.
    EXPECT_EQ(inputs, (std::vector<std::string>{"0", "0"}));
    std::string name;
    ASSERT_TRUE(pc.mci().waveInProductName(0, name));
    EXPECT_EQ(name.size(), 31u);
    EXPECT_EQ(name.rfind("Microphone Array", 0), 0u);
    EXPECT_FALSE(pc.mci().waveInProductName(1, name));
    //                                    record play   pass   fail  close
    EXPECT_EQ(user.seen, (std::vector<Buttons>{{true, false, false, false, true},   // idle
                                               {false, false, false, false, true},  // recording
                                               {true, true, false, false, true},    // saved
                                               {false, false, false, false, true},  // playing
                                               {true, true, true, true, true}}));   // played
    EXPECT_EQ(user.progressAtRecorded, 100);
    EXPECT_EQ(dlg.result(), TestResult::PASS());
    EXPECT_TRUE(std::filesystem::remove(kvo::toPath(dlg.recordingPath())));
}

// The MCI of a PC with one fault: a full disk, a broken driver, no wave devices.
enum class Fault { Save, Open, TimeFormat, NoDevices };
class FaultyMci : public ui::sim::SimMciService {
public:
    explicit FaultyMci(Fault fault) : SimMciService(audio::currentSystem()), fault_(fault) {}
    ui::MCIERROR save(ui::MCIDEVICEID id, const std::string& path) override {
        return fault_ == Fault::Save ? ui::MCIERR_FILE_NOT_SAVED : SimMciService::save(id, path);
    }
    ui::MCIERROR open(const std::string& element, ui::MCIDEVICEID& id) override {
        return fault_ == Fault::Open ? ui::MCIERR_HARDWARE : SimMciService::open(element, id);
    }
    ui::MCIERROR setTimeFormatMilliseconds(ui::MCIDEVICEID id) override {
        return fault_ == Fault::TimeFormat ? ui::MCIERR_HARDWARE
                                           : SimMciService::setTimeFormatMilliseconds(id);
    }
    std::uint32_t waveInDeviceCount() override {
        return fault_ == Fault::NoDevices ? 0 : SimMciService::waveInDeviceCount();
    }
    std::uint32_t waveOutDeviceCount() override {
        return fault_ == Fault::NoDevices ? 0 : SimMciService::waveOutDeviceCount();
    }

private:
    Fault fault_;
};

// A device that cannot be opened or set up says so in a box and offers Record and Fail; a
// recording that cannot be saved leaves Play off, with only Record and Close to go on.
TEST_F(MciDialogTest, FailuresOfTheDeviceRaiseTheirEventAndOfferOnlyWhatCanStillWork) {
    struct Case {
        Fault fault;
        const char* event;
        int messageBoxes;
        Buttons afterwards;
        TestResult result;
    };
    test::SimulatedPc pc("windows-xp.json");
    //                           record play   pass   fail   close
    const Buttons recordOrFail{true, false, false, true, true};
    const Buttons recordOrClose{true, false, false, false, true};
    for (const Case& c :
         {Case{Fault::Open, "MSG_COULD_NOT_OPEN_DEVICE", 1, recordOrFail, TestResult::FAIL()},
          Case{Fault::TimeFormat, "MSG_NOT_SET_TIME_FORMAT", 1, recordOrFail, TestResult::FAIL()},
          Case{Fault::Save, "MSG_FILE_NOT_SAVED", 0, recordOrClose, TestResult::USERABORTED()}}) {
        SCOPED_TRACE(c.event);
        FaultyMci mci(c.fault);
        kvo::test::CapturingLogSink log;
        CMicrophoneDlg dlg(IDD_MICROPHONE, mci);
        bool recorded = false;
        std::optional<Buttons> afterwards;
        TestDialogService service([&](TestDialog& dialog) {
            if (!recorded) {
                dialog.press(IDC_RECORD);
                recorded = true;
            } else if (!afterwards && dialog.isEnabled(IDC_RECORD)) {
                afterwards = buttonsOf(dialog);
                dialog.press(dialog.isEnabled(IDC_FAIL) ? IDC_FAIL : IDC_CLOSE);
            }
        });
        dlg.doModal(service);
        ASSERT_TRUE(afterwards.has_value());
        EXPECT_EQ(*afterwards, c.afterwards);
        EXPECT_EQ(service.messageBoxes, c.messageBoxes);
        if (c.messageBoxes > 0) {
            EXPECT_NE(service.lastMessage.find("The recording device is in use."),
                      std::string::npos);
        }
        EXPECT_TRUE(raised(log, c.event));
        EXPECT_EQ(dlg.result(), c.result);
    }
}

TEST_F(MciDialogTest, DetectionPromptNeedsTheParameterAndTheFrameworkSwitch) {
    test::SimulatedPc pc("healthy-laptop.json");  // Windows 10: no default entries
    FaultyMci mci(Fault::NoDevices);
    for (const bool parameter : {false, true}) {
        for (const bool framework : {false, true}) {
            SCOPED_TRACE(testing::Message()
                         << "bPromptEnable " << parameter << ", framework " << framework);
            setParameter("bPromptEnable", parameter ? "true" : "false");
            vesk5::host::Framework::instance().setPromptEnable(framework);
            kvo::test::CapturingLogSink log;
            CMicrophoneDlg dlg(IDD_MICROPHONE, mci);
            TestDialogService service(nullptr);
            dlg.doModal(service);
            EXPECT_EQ(service.messageBoxes, parameter && framework ? 1 : 0);
            EXPECT_EQ(dlg.result(), TestResult::CANNOTRUN());
            EXPECT_TRUE(raised(log, "MSG_DOES_NOT_SUPPORT_RECORDING"));
            EXPECT_EQ(service.lastMessage.find("No input device was detected") != std::string::npos,
                      parameter && framework);
        }
    }
}

}  // namespace
}  // namespace kvormicrophone
