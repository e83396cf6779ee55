#pragma once

#include "platform/kvo/String.hpp"

namespace kvormicrophone {

// How the non-interactive microphone test tells the framework what it is
// doing. A report whose event object is missing prints a "DEBUG ONLY" line
// instead; the reports that carry a device name return silently then.
class MicrophoneTestEventReporter {
public:
    static void nowTesting(const kvo::String& deviceName);
    static void recordingFailToStart(const kvo::String& deviceName);
    static void recordingTooSoft(const kvo::String& deviceName);
    static void noIntegratedMic();
    static void endpointStateWarning();
};

}  // namespace kvormicrophone
