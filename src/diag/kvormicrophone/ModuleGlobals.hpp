#pragma once

#include "common/COM/comptr.hpp"
#include "platform/vesk5/DiagModule.hpp"

// The module's singletons. Events and tests belong to the framework and live
// for the whole process; the others are created and destroyed by the module.
namespace kvormicrophone {

class MicManagerWin7;
class FrequencyToneTest;

namespace events {
// Every key is registered at start-up; "FoundExternalMic" is registered but
// never raised (an external microphone is only logged), so no pointer is kept.
extern vesk5::Event* NoIntegratedMic;
extern vesk5::Event* RecordingFailToStart;
extern vesk5::Event* EndpointStateWarning;
extern vesk5::Event* RecordingTooSoft;
extern vesk5::Event* NowTesting;
extern vesk5::Event* MSG_REPLAY_NOT_SUPPORTED;
extern vesk5::Event* MSG_DOES_NOT_SUPPORT_RECORDING;
extern vesk5::Event* MSG_DID_THE_TEST_PASS;
extern vesk5::Event* MSG_TEST_NAME;
extern vesk5::Event* MSG_CAPTION_INSTRUCTIONS;
extern vesk5::Event* MSG_INSTRUCTIONS_1;
extern vesk5::Event* MSG_INSTRUCTIONS_2;
extern vesk5::Event* MSG_INSTRUCTIONS_4;
extern vesk5::Event* MSG_INSTRUCTIONS_5;
extern vesk5::Event* MSG_INSTRUCTIONS_6;
extern vesk5::Event* MSG_INSTRUCTIONS_7;
extern vesk5::Event* MSG_BUTTON_LABEL_RECORD;
extern vesk5::Event* MSG_BUTTON_LABEL_PLAY;
extern vesk5::Event* MSG_BUTTON_LABEL_PASS;
extern vesk5::Event* MSG_BUTTON_LABEL_FAIL;
extern vesk5::Event* MSG_BUTTON_LABEL_CLOSE;
extern vesk5::Event* INPUT_DEVICE;
extern vesk5::Event* DEFAULT_INPUT_DEVICE;
extern vesk5::Event* OUTPUT_DEVICE;
extern vesk5::Event* DEFAULT_OUTPUT_DEVICE;
extern vesk5::Event* RECORD_IN_USE_TRY_AGAIN;
extern vesk5::Event* MSG_INPUT_DETECTION;
extern vesk5::Event* MSG_OUTPUT_DETECTION;
extern vesk5::Event* MSG_NOT_OPEN_WAV_FILE;
extern vesk5::Event* MSG_COULD_NOT_OPEN_DEVICE;
extern vesk5::Event* MSG_NOT_SET_TIME_FORMAT;
extern vesk5::Event* MSG_FAILED_CREATING_SOUND_FILE;
extern vesk5::Event* MSG_FILE_NOT_SAVED;
extern vesk5::Event* MSG_SET_PCM_FORMAT_FAIL;
extern vesk5::Event* TestFailed;
extern vesk5::Event* FAIL_FREQUENCY_TONE_TEST;
extern vesk5::Event* MSG_NO_MICROPHONE;
extern vesk5::Event* MSG_NO_SPEAKER;
extern vesk5::Event* MSG_BAD_FREQ_INPUT;
extern vesk5::Event* MSG_CURRENT_FREQ;
extern vesk5::Event* DEVICE_MISCONFIGURED;
}  // namespace events

extern const char* const kMicrophoneTestName;
extern vesk5::Test* g_microphoneTest;
extern vesk5::Test* g_frequencyToneTest;
extern COMInitializer* g_comInitializer;
// Created by the first integrated microphone test and kept for later runs.
extern MicManagerWin7* g_integratedMicEngine;
// The last frequency tone test; each run replaces it.
extern FrequencyToneTest* g_frequencyToneTestEngine;

}  // namespace kvormicrophone
