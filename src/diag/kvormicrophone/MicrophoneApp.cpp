#include "MicrophoneApp.hpp"

#include "MicrophoneTest.hpp"
#include "MicrophoneTestParameter.hpp"
#include "ModuleGlobals.hpp"
#include "ModuleLogger.hpp"
#include "SavedRecordingCheck.hpp"
#include "Test/FrequencyTestParameter.hpp"
#include "Test/FrequencyToneTest.hpp"
#include "Test/MicManagerWin7.hpp"
#include "platform/kvo/Console.hpp"
#include "platform/kvo/Exception.hpp"
#include "platform/kvo/Resource.hpp"
#include "platform/kvo/TraceLogger.hpp"
#include "platform/ui/CommandLineParser.hpp"

namespace kvormicrophone {

using vesk5::DeviceCapability;
using vesk5::DiagModule;
using vesk5::Event;
using vesk5::TestResult;

// Registration happens here, during static initialisation and in this order,
// so that the framework knows every event and test before Run() is entered.
namespace events {
Event* NoIntegratedMic = DiagModule::createEvent("NoIntegratedMic");
Event* RecordingFailToStart = DiagModule::createEvent("RecordingFailToStart");
Event* EndpointStateWarning = DiagModule::createEvent("EndpointStateWarning");
Event* RecordingTooSoft = DiagModule::createEvent("RecordingTooSoft");
Event* NowTesting = DiagModule::createEvent("NowTesting");
[[maybe_unused]] const vesk5::Event* const foundExternalMicRegistration =
    DiagModule::createEvent("FoundExternalMic");
Event* MSG_REPLAY_NOT_SUPPORTED = DiagModule::createEvent("MSG_REPLAY_NOT_SUPPORTED");
Event* MSG_DOES_NOT_SUPPORT_RECORDING = DiagModule::createEvent("MSG_DOES_NOT_SUPPORT_RECORDING");
Event* MSG_DID_THE_TEST_PASS = DiagModule::createEvent("MSG_DID_THE_TEST_PASS");
Event* MSG_TEST_NAME = DiagModule::createEvent("MSG_TEST_NAME");
Event* MSG_CAPTION_INSTRUCTIONS = DiagModule::createEvent("MSG_CAPTION_INSTRUCTIONS");
Event* MSG_INSTRUCTIONS_1 = DiagModule::createEvent("MSG_INSTRUCTIONS_1");
Event* MSG_INSTRUCTIONS_2 = DiagModule::createEvent("MSG_INSTRUCTIONS_2");
Event* MSG_INSTRUCTIONS_4 = DiagModule::createEvent("MSG_INSTRUCTIONS_4");
Event* MSG_INSTRUCTIONS_5 = DiagModule::createEvent("MSG_INSTRUCTIONS_5");
Event* MSG_INSTRUCTIONS_6 = DiagModule::createEvent("MSG_INSTRUCTIONS_6");
Event* MSG_INSTRUCTIONS_7 = DiagModule::createEvent("MSG_INSTRUCTIONS_7");
Event* MSG_BUTTON_LABEL_RECORD = DiagModule::createEvent("MSG_BUTTON_LABEL_RECORD");
Event* MSG_BUTTON_LABEL_PLAY = DiagModule::createEvent("MSG_BUTTON_LABEL_PLAY");
Event* MSG_BUTTON_LABEL_PASS = DiagModule::createEvent("MSG_BUTTON_LABEL_PASS");
Event* MSG_BUTTON_LABEL_FAIL = DiagModule::createEvent("MSG_BUTTON_LABEL_FAIL");
Event* MSG_BUTTON_LABEL_CLOSE = DiagModule::createEvent("MSG_BUTTON_LABEL_CLOSE");
Event* INPUT_DEVICE = DiagModule::createEvent("INPUT_DEVICE");
Event* DEFAULT_INPUT_DEVICE = DiagModule::createEvent("DEFAULT_INPUT_DEVICE");
Event* OUTPUT_DEVICE = DiagModule::createEvent("OUTPUT_DEVICE");
Event* DEFAULT_OUTPUT_DEVICE = DiagModule::createEvent("DEFAULT_OUTPUT_DEVICE");
Event* RECORD_IN_USE_TRY_AGAIN = DiagModule::createEvent("RECORD_IN_USE_TRY_AGAIN");
Event* MSG_INPUT_DETECTION = DiagModule::createEvent("MSG_INPUT_DETECTION");
Event* MSG_OUTPUT_DETECTION = DiagModule::createEvent("MSG_OUTPUT_DETECTION");
Event* MSG_NOT_OPEN_WAV_FILE = DiagModule::createEvent("MSG_NOT_OPEN_WAV_FILE");
Event* MSG_COULD_NOT_OPEN_DEVICE = DiagModule::createEvent("MSG_COULD_NOT_OPEN_DEVICE");
Event* MSG_NOT_SET_TIME_FORMAT = DiagModule::createEvent("MSG_NOT_SET_TIME_FORMAT");
Event* MSG_FAILED_CREATING_SOUND_FILE = DiagModule::createEvent("MSG_FAILED_CREATING_SOUND_FILE");
Event* MSG_FILE_NOT_SAVED = DiagModule::createEvent("MSG_FILE_NOT_SAVED");
Event* MSG_SET_PCM_FORMAT_FAIL = DiagModule::createEvent("MSG_SET_PCM_FORMAT_FAIL");
Event* TestFailed = DiagModule::createEvent("TestFailed");
Event* FAIL_FREQUENCY_TONE_TEST = DiagModule::createEvent("FAIL_FREQUENCY_TONE_TEST");
Event* MSG_NO_MICROPHONE = DiagModule::createEvent("MSG_NO_MICROPHONE");
Event* MSG_NO_SPEAKER = DiagModule::createEvent("MSG_NO_SPEAKER");
Event* MSG_BAD_FREQ_INPUT = DiagModule::createEvent("MSG_BAD_FREQ_INPUT");
Event* MSG_CURRENT_FREQ = DiagModule::createEvent("MSG_CURRENT_FREQ");
Event* DEVICE_MISCONFIGURED = DiagModule::createEvent("DEVICE_MISCONFIGURED");
}  // namespace events

const char* const kMicrophoneTestName = "MicrophoneTest";

namespace {
vesk5::Test* const integratedMicrophoneTestRegistration =
    DiagModule::createTest("IntegratedMicrophoneTest", DeviceCapability::Microphone(),
                           integratedMicrophoneTest)
        ->setEnumeratesOnlyOnce(true)
        ->addDevicePropertyRequirement("EnumerateIntegratedMicTest", "true");
}  // namespace

vesk5::Test* g_microphoneTest =
    DiagModule::createTest(kMicrophoneTestName, DeviceCapability::Microphone(), MicrophoneTest)
        ->setInteractive(true)
        ->setCreatesOwnGUI(true)
        ->setEnumeratesOnlyOnce(true);

vesk5::Test* g_frequencyToneTest =
    DiagModule::createTest("FrequencyToneTest", DeviceCapability::Microphone(), frequencyToneTest)
        ->addDevicePropertyRequirement("EnumerateIntegratedAudioIOTest", "true")
        ->addOptionalDeviceCapabilities(DeviceCapability::SoundCard());

// COM is initialised on the main thread before anything else runs.
COMInitializer* g_comInitializer = new COMInitializer;
MicManagerWin7* g_integratedMicEngine = nullptr;
FrequencyToneTest* g_frequencyToneTestEngine = nullptr;

CMicrophoneApp theApp;

namespace {}  // namespace

void moduleInitialize() {
    kvo::TraceLogger trace(moduleLogger(), "moduleInitialize", "MicrophoneApp");
    if (g_microphoneTest != nullptr) {
        MicrophoneTestParameter::initialize(g_microphoneTest);
    }
    FrequencyTestParameter::initialize(g_frequencyToneTest);
    kvo::Resource::declareSetting("kvormicrophone", "GenerateRecording.value",
                                  kvo::Resource::SettingKind::Boolean);
    kvo::Resource::declareSetting("kvormicrophone", "FrequencyAnalysisWaveFile.value",
                                  kvo::Resource::SettingKind::Text);
}

int CMicrophoneApp::Run(const std::vector<std::string>& arguments) {
    kvo::TraceLogger trace(moduleLogger(), "CMicrophoneApp Run", "MicrophoneApp");
    int result = TestResult::EXITEDABNORMALLY().value();
    try {
        const libMFC::CommandLineParser parser("kvormicrophone.k5x", arguments);
        DiagModule::setCmdLineArgs(parser.argc(), parser.argv());
        DiagModule::setVersion(6, 5, "000000001");
        DiagModule::setModuleInitCallback(moduleInitialize);
        DiagModule::setRecordingCheck(checkSavedRecording);
        result = DiagModule::start();
    } catch (const vesk5::VeskException& exception) {
        kvo::cerr() << "VeskException:" << exception.toString() << std::endl;
        result = TestResult::EXITEDABNORMALLY().value();
    } catch (const kvo::Exception& exception) {
        kvo::cerr() << "Exception:" << exception.getMessage() << std::endl;
        result = TestResult::EXITEDABNORMALLY().value();
    } catch (const std::exception& exception) {
        // Whatever else escapes the module ends the run the same way, never as an abort
        // that would leave the user's levels raised.
        KVO_LOG(moduleLogger(), kvo::kLogError, "Internal error: {}", exception.what());
        kvo::cerr() << "kvormicrophone: internal error: " << exception.what() << std::endl;
        result = TestResult::EXITEDABNORMALLY().value();
    } catch (...) {
        KVO_LOG(moduleLogger(), kvo::kLogError, "Internal error of unknown type");
        kvo::cerr() << "kvormicrophone: internal error of unknown type" << std::endl;
        result = TestResult::EXITEDABNORMALLY().value();
    }
    // Also after an exception: destroying the engines puts the user's levels back.
    tearDownSingletons();
    return result;
}

void CMicrophoneApp::tearDownSingletons() {
    delete g_integratedMicEngine;
    g_integratedMicEngine = nullptr;
    delete g_frequencyToneTestEngine;
    g_frequencyToneTestEngine = nullptr;
    delete g_comInitializer;
    g_comInitializer = nullptr;
}

}  // namespace kvormicrophone
