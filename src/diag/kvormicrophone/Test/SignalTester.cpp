#include "SignalTester.hpp"

#include "platform/kvo/Assert.hpp"
#include "platform/kvo/Logger.hpp"
#include "platform/kvo/TraceLogger.hpp"

namespace kvormicrophone {
namespace {

kvo::Logger& logger() {
    static kvo::Logger* const instance = &kvo::Logger::get("kvormicrophone.signalTester");
    return *instance;
}

}  // namespace

double CurrentTone::frequency(std::uint32_t channel) const {
    KVO_ASSERT(channel < 2);
    return channel == 0 ? left : right;
}

bool SignalTester::isWithinTolerance(const SignalProperty& property, double expected) {
    const double found = property.dominantFrequency;
    return !(found - property.tolerance > expected || expected > found + property.tolerance);
}

bool SignalTester::isSignalValid(const CurrentTone* const& tone) {
    kvo::TraceLogger trace(logger(), "SignalTester::isSignalValid", "SignalTester");
    if (source_ == nullptr) {
        KVO_LOG_TAG(logger(), kvo::kLogError, 60,
                    "SignalTester object does not refer to any valid recording sources.");
        return false;
    }
    const libAudio::StaticPCMBuffer& recording = source_->recording();
    kvo::Array<SignalProperty> properties;
    if (!analyzer_.signalProperty(recording, properties)) {
        KVO_LOG_TAG(logger(), kvo::kLogError, 68, "Unable to generate recorded signal property.");
        return false;
    }
    if (properties.size() != recording.format.Format.nChannels) {
        KVO_LOG_TAG(logger(), kvo::kLogError, 73,
                    "Not all channels have signal properties. Find out why");
        return false;
    }
    KVO_ASSERT(tone != nullptr);
    for (std::uint32_t i = 0; i < properties.size(); ++i) {
        const double found = properties[i].dominantFrequency;
        const double tolerance = properties[i].tolerance;
        const double expected = tone->frequency(i);
        if (!isWithinTolerance(properties[i], expected)) {
            KVO_LOG_TAG(logger(), kvo::kLogError, 85,
                        "Channel {} dominant frequency is {}Hz, +- {}Hz. Search frequency is {}Hz.",
                        i, found, tolerance, expected);
            return false;
        }
        KVO_LOG_TAG(logger(), kvo::kLogDetail, 89,
                    "Channel {} dominant frequency is {}Hz, +- {}Hz. Search frequency is {}Hz.", i,
                    found, tolerance, expected);
    }
    return true;
}

}  // namespace kvormicrophone
