#include "MicrophoneTest.hpp"

#include <array>
#include <new>

#include "MicrophoneDialogCommon.hpp"
#include "MicrophoneDlg.hpp"
#include "MicrophoneTestMFCUI.hpp"
#include "MicrophoneTestParameter.hpp"
#include "ModuleGlobals.hpp"
#include "ModuleLogger.hpp"
#include "Test/FrequencyToneTestLegacy.hpp"
#include "Test/NonInteractiveMicTestWin7.hpp"
#include "platform/audio/CurrentSystem.hpp"
#include "platform/kvo/TraceLogger.hpp"
#include "platform/ui/Dialog.hpp"
#include "platform/ui/Mci.hpp"

namespace kvormicrophone {

using vesk5::DiagModule;
using vesk5::TestResult;

namespace {

constexpr const char* kSource = "MicrophoneTest";

struct OffendingDriver {
    const char* file;
    const char* version;
};

// Drivers known to misbehave with the endpoint interface, tried in this order.
constexpr std::array<OffendingDriver, 5> kOffendingDrivers{{{"rtkvhd64.sys", "6.0.1.8040"},
                                                            {"isstrtc.sys", "6.2.9200.34712"},
                                                            {"rtkvhd64.sys", "6.0.1.5864"},
                                                            {"rtkvhda.sys", "6.0.1.5490"},
                                                            {"rtkvhda.sys", "6.0.1.5610"}}};

bool contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

}  // namespace

TestResult integratedMicrophoneTest(const vesk5::DiagDevice&) {
    kvo::TraceLogger trace(moduleLogger(), "integratedMicrophoneTest", kSource);
    if (g_integratedMicEngine == nullptr) {
        g_integratedMicEngine = new MicManagerWin7(nullptr);
    }
    NonInteractiveMicTest::Config config;
    config.allowExternalMicTesting = audio::currentSystem().allowExternalMicTesting();
    config.allowVista = true;
    config.evaluationMethod = 0;
    return NonInteractiveMicTest::runTest(*g_integratedMicEngine, config);
}

namespace {

// Vista and later: the record/playback engine behind the progress dialog.
TestResult interactiveTestOnEngine() {
    // Without a microphone the dialog still opens: Record stays disabled and
    // the person's Fail or Close decides.
    MicrophoneTestWin7 engine;
    MicrophoneTestMFCUI dialog(dialog::IDD_MICROPHONE, &engine);
    engine.setUI(&dialog);
    engine.setRecordingDuration(dialog::kRecordingMs);
    dialog.doModal(ui::currentDialogService());
    engine.setUI(nullptr);
    const TestResult result = engine.result();
    if (result == TestResult::FAIL()) {
        DiagModule::error(events::TestFailed, kSource, __LINE__);
    }
    return result;
}

// Before Vista: the MCI dialog.
TestResult interactiveTestOnMci() {
    TestResult result = TestResult::INTERNALERROR();
    const int resource = MicrophoneTestParameter::useTroubleshooterDialog()
                             ? dialog::IDD_TROUBLESHOOTER
                             : dialog::IDD_MICROPHONE;
    ui::MciService& mci = ui::currentMciService();
    CMicrophoneDlg dialog(resource, mci);
    dialog.doModal(ui::currentDialogService());
    result = dialog.result();
    // A device the dialog left open is closed here; closing none only fails.
    mci.close(dialog.deviceId());
    return result;
}

}  // namespace

TestResult MicrophoneTest(const vesk5::DiagDevice&) {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneTest", kSource);
    const COMInitializer com;
    return audio::currentSystem().isWindowsVersionOrLater(6, 0) ? interactiveTestOnEngine()
                                                                : interactiveTestOnMci();
}

bool useLegacyAudioAPI(const vesk5::DiagDevice&) {
    kvo::TraceLogger trace(moduleLogger(), "useLegacyAudioAPI(const DiagDevice& device)", kSource);
    const unsigned count = DiagModule::optionalDeviceCount();
    KVO_LOG(moduleLogger(), kvo::kLogDetail, "FrequencyToneTest::Optional Devices = {}", count);
    for (unsigned i = 0; i < count; ++i) {
        const vesk5::DiagDevice& device = DiagModule::optionalDevice(i);
        const vesk5::DeviceProperty* driver = device.property("Driver");
        const vesk5::DeviceProperty* version = device.property("DriverVersion");
        if (driver == nullptr || version == nullptr ||
            !(device.type() == vesk5::DeviceCapability::SoundCard())) {
            continue;
        }
        // Plain substring matches, as the table has always been read: a longer
        // version or a full driver path matches too.
        bool offending = false;
        for (const OffendingDriver& row : kOffendingDrivers) {
            if (contains(driver->value, row.file) && contains(version->value, row.version)) {
                offending = true;
                break;
            }
        }
        offending = offending || contains(device.name(), "SST");
        if (offending) {
            KVO_LOG(moduleLogger(), kvo::kLogDetail,
                    "Found an offending driver. Using windows legacy audio API");
            return true;
        }
    }
    return false;
}

TestResult frequencyToneTestWindows7OrLater(const vesk5::DiagDevice& device) {
    kvo::TraceLogger trace(moduleLogger(), "frequencyToneTestWindows7OrLater()", kSource);
    const bool legacy = useLegacyAudioAPI(device);
    delete g_frequencyToneTestEngine;
    g_frequencyToneTestEngine = nullptr;
    g_frequencyToneTestEngine =
        legacy ? static_cast<FrequencyToneTest*>(new (std::nothrow) FrequencyToneTestLegacy)
               : new (std::nothrow) FrequencyToneTest;
    if (g_frequencyToneTestEngine == nullptr) {
        KVO_LOG(moduleLogger(), kvo::kLogError,
                "Out of Memory! Unable to instantiate a FrequencyToneTest object");
        return TestResult::CANNOTRUN();
    }
    FrequencyToneTest& engine = *g_frequencyToneTestEngine;
    if (!engine.instantiateAudioIO()) {
        KVO_LOG(moduleLogger(), kvo::kLogError,
                "Out of Memory! Unable to instantiate a AudioIO objects");
        return TestResult::CANNOTRUN();
    }
    if (engine.enumerateIntegratedMicrophones() == 0) {
        DiagModule::warning(events::MSG_NO_MICROPHONE, kSource, __LINE__);
        return TestResult::NODEVICE();
    }
    if (engine.enumerateIntegratedSpeakers() == 0) {
        DiagModule::warning(events::MSG_NO_SPEAKER, kSource, __LINE__);
        return TestResult::NODEVICE();
    }
    return engine.test(TestResult::PASS());
}

TestResult frequencyToneTest(const vesk5::DiagDevice& device) {
    kvo::TraceLogger trace(moduleLogger(), "frequencyToneTest", kSource);
    const COMInitializer com;
    if (!audio::currentSystem().isWindowsVersionOrLater(6, 1)) {
        KVO_LOG(moduleLogger(), kvo::kLogError, "The Test is only for Windows 7 or later");
        return TestResult::NOTSUPPORTED();
    }
    return frequencyToneTestWindows7OrLater(device);
}

}  // namespace kvormicrophone
