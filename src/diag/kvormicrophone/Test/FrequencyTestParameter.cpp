#include "FrequencyTestParameter.hpp"

#include "platform/kvo/Assert.hpp"

namespace kvormicrophone {
namespace {
vesk5::Parameter* frequencyListParameter = nullptr;
}

bool FrequencyTestParameter::isInitialized() {
    return frequencyListParameter != nullptr;
}

bool FrequencyTestParameter::initialize(vesk5::Test* test) {
    KVO_ASSERT("Please do not call initialize more than once" && (!isInitialized()));
    frequencyListParameter = vesk5::DiagModule::createParameter(
        "FrequencyList", vesk5::DataType::STRING(),
        "Tones to play, whole numbers of Hz from 20 to 20000, separated by commas", false, true);
    frequencyListParameter->setExample("440,1000,4000");
    if (test != nullptr) {
        test->addParameter(frequencyListParameter);
    }
    return isInitialized();
}

void FrequencyTestParameter::shutdown() {
    frequencyListParameter = nullptr;
}

kvo::String FrequencyTestParameter::frequencyList() {
    KVO_ASSERT(isInitialized());
    return frequencyListParameter->value().valueString();
}

void FrequencyTestParameter::reportProblem(const kvo::String& problem) {
    KVO_ASSERT(isInitialized());
    frequencyListParameter->setProblem(problem);
}

}  // namespace kvormicrophone
