#pragma once

#include <memory>
#include <string>

#include "Device.hpp"
#include "Event.hpp"
#include "Measurement.hpp"
#include "MessageBox2.hpp"
#include "Parameter.hpp"
#include "Test.hpp"
#include "TestResult.hpp"
#include "Value.hpp"
#include "VeskException.hpp"

namespace vesk5 {

// The module's view of the diagnostic framework: registration, the
// dispatcher, and the services a running test uses. Objects it returns are
// owned by the framework and live until the process ends.
class DiagModule {
public:
    using ModuleInitCallback = void (*)();
    // What a check of a saved recording found: PASS or FAIL, or why it could not be checked
    // (BADPARAMS, CANNOTRUN); `reason` is one line for anything but PASS.
    struct RecordingVerdict {
        TestResult result;
        std::string reason;
    };
    // Checks the recording at `path` for its tone of `frequency` Hz (0: the one its name gives),
    // reporting the figures as measurements.
    using RecordingCheck = RecordingVerdict (*)(const std::string& path, unsigned frequency);

    static Test* createTest(const std::string& name, const DeviceCapability& capability,
                            TestFunction function);
    static Event* createEvent(const std::string& key);
    static Parameter* createParameter(const std::string& name, DataType type,
                                      const std::string& description, bool required,
                                      bool userSettable);

    static void setCmdLineArgs(int argc, const char* const* argv);
    static void setVersion(unsigned major, unsigned minor, const std::string& build);
    static void setModuleInitCallback(ModuleInitCallback callback);
    // What `kvormicrophone analyze` runs.
    static void setRecordingCheck(RecordingCheck check);
    // Runs the command line; returns the process exit status.
    static int start();

    static unsigned optionalDeviceCount();
    static const DiagDevice& optionalDevice(unsigned index);

    static void informative(Event* event, const char* source, int line);
    static void warning(Event* event, const char* source, int line);
    static void error(Event* event, const char* source, int line);
    // Figures a check measured, shown and recorded beside the test's events.
    static void reportMeasurement(const Measurement& measurement);
    // A remark beside the test's events that is not an event: it changes no result.
    static void reportNote(const std::string& text);

    static bool promptEnable();
    static bool checkForStop();
    static void percentDone(int percent);
    static std::string getBaseDirectory();
    static std::unique_ptr<MessageBox2> createMessageBox2(const std::string& caption,
                                                          const std::string& text);
    // The localised text of an event (its key when the catalogue has none; "" for null).
    static std::string localizedText(const Event* event);
};

}  // namespace vesk5
