#include "MicrophoneTestParameter.hpp"

#include "ModuleLogger.hpp"
#include "platform/kvo/Assert.hpp"
#include "platform/kvo/TraceLogger.hpp"

namespace kvormicrophone {

using vesk5::DataType;
using vesk5::DiagModule;

namespace {
MicrophoneTestParameter::Parameters* holder = nullptr;

vesk5::Parameter* create(const char* name, DataType type) {
    return DiagModule::createParameter(name, type, "", false, true);
}
}  // namespace

MicrophoneTestParameter::Parameters::~Parameters() {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneTestParameter::Parameters::~Parameters",
                           "MicrophoneTestParameter");
}

bool MicrophoneTestParameter::isInitialized() {
    return holder != nullptr;
}

void MicrophoneTestParameter::initialize(vesk5::Test* test) {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneTestParameter::initialize",
                           "MicrophoneTestParameter");
    KVO_ASSERT("Please do not call initialize more than once" && (!isInitialized()));
    auto* parameters = new Parameters;
    parameters->bitsPerSample = create("BitsPerSample", DataType::UINT32());
    parameters->samplesPerSec = create("SamplesPerSec", DataType::UINT32());
    parameters->numberOfChannels = create("NumberOfChannels", DataType::UINT32());
    parameters->bPromptEnable = create("bPromptEnable", DataType::BOOLEAN());
    parameters->useTroubleshooterDialog = create("UseTroubleshooterDialog", DataType::BOOLEAN());
    delete holder;
    holder = parameters;
    if (test != nullptr) {
        test->addParameter(holder->bitsPerSample);
        test->addParameter(holder->samplesPerSec);
        test->addParameter(holder->numberOfChannels);
        test->addParameter(holder->useTroubleshooterDialog);
        test->addParameter(holder->bPromptEnable);
    }
}

void MicrophoneTestParameter::shutdown() {
    delete holder;
    holder = nullptr;
}

std::uint32_t MicrophoneTestParameter::bitsPerSample() {
    KVO_ASSERT(isInitialized());
    return holder->bitsPerSample->value().valueUint32();
}

std::uint32_t MicrophoneTestParameter::samplesPerSec() {
    KVO_ASSERT(isInitialized());
    return holder->samplesPerSec->value().valueUint32();
}

std::uint32_t MicrophoneTestParameter::numberOfChannels() {
    KVO_ASSERT(isInitialized());
    return holder->numberOfChannels->value().valueUint32();
}

bool MicrophoneTestParameter::bPromptEnable() {
    KVO_ASSERT(isInitialized());
    return holder->bPromptEnable->value().valueBool();
}

bool MicrophoneTestParameter::useTroubleshooterDialog() {
    KVO_ASSERT(isInitialized());
    return holder->useTroubleshooterDialog->value().valueBool();
}

}  // namespace kvormicrophone
