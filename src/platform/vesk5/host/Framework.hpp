#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "CommandLine.hpp"
#include "DeviceSource.hpp"
#include "LogDirectory.hpp"
#include "RunOutput.hpp"
#include "RunReport.hpp"
#include "platform/vesk5/DiagModule.hpp"

namespace kvo {
class FileLogSink;
}

namespace vesk5::host {

// The diagnostic framework behind DiagModule: the registry of tests, events
// and parameters, and the command-line dispatcher that runs them.
class Framework {
public:
    // The process-wide framework that DiagModule forwards to.
    static Framework& instance();
    // The audio systems the host can open; set once by the process entry.
    static void setDeviceSources(DeviceSources sources);
    // Installs the dialog front end that --ui and --answer ask for, for as
    // long as the returned object lives, and names it in `chosen`. Throws
    // UsageError when that front end cannot run here.
    using FrontEndFactory = std::shared_ptr<void> (*)(const Options& options, std::string& chosen);
    static void setFrontEndFactory(FrontEndFactory factory);

    Framework() = default;
    Framework(const Framework&) = delete;
    Framework& operator=(const Framework&) = delete;

    Test* createTest(const std::string& name, const DeviceCapability& capability,
                     TestFunction function);
    Event* createEvent(const std::string& key);
    Parameter* createParameter(const std::string& name, DataType type,
                               const std::string& description, bool required, bool userSettable);

    void setCmdLineArgs(std::vector<std::string> arguments) { arguments_ = std::move(arguments); }
    void setVersion(unsigned major, unsigned minor, const std::string& build);
    void setModuleInitCallback(DiagModule::ModuleInitCallback callback) {
        initCallback_ = callback;
    }
    void setRecordingCheck(DiagModule::RecordingCheck check) { recordingCheck_ = check; }
    int start();
    // Closes the audio system and the log file of the last run. Both stay open
    // after start() returns so that the module's engines can put the user's
    // levels back, and log it, when they are torn down; the process entry
    // calls this last.
    void closeDevices();

    unsigned optionalDeviceCount() const { return static_cast<unsigned>(optionalDevices_.size()); }
    const DiagDevice& optionalDevice(unsigned index) const;
    void raise(Event* event, Severity severity, const char* source, int line);
    void measured(const Measurement& measurement);
    void noted(const std::string& text);
    bool promptEnable() const { return promptEnable_; }
    void setPromptEnable(bool enabled) { promptEnable_ = enabled; }
    bool checkForStop();
    void percentDone(int percent);
    std::string baseDirectory() const { return baseDirectory_; }
    std::unique_ptr<MessageBox2> createMessageBox2(const std::string& caption,
                                                   const std::string& text);

    const std::vector<std::unique_ptr<Test>>& tests() const { return tests_; }
    const std::vector<std::unique_ptr<Event>>& events() const { return events_; }
    std::string versionText() const { return version_; }

private:
    static const std::vector<AudioChoice>& audioChoices();
    // The audio system the options name, opened; one without devices when the build has none.
    static std::unique_ptr<DeviceSource> openDevices(const Options& options);
    int list(bool json);
    int devices(const Options& options);
    int run(const Options& options);
    int analyze(const Options& options);
    void initializeModule();
    // Each returns an error line, or "" when all is well.
    std::string selectTests(const Options& options, std::vector<Test*>& selected);
    std::string applyParameters(const Options& options, const std::vector<Test*>& selected);
    std::string prepareBaseDirectory(const Options& options);
    std::string applySettings(const Options& options);
    // Why the --report, --html or --junit file cannot be written, "" when all can.
    static std::string unwritableReport(const Options& options);
    TestResult runTest(Test& test);
    void closeLogFile();
    // Runs the test function; an exception that escapes it is logged and ends the test
    // EXITEDABNORMALLY, and the run goes on to tear down and put the user's levels back.
    TestResult runGuarded(Test& test, const DiagDevice& device);
    // Adds the files under logs/ that the test wrote to `files`; a file it could not
    // write is reported on one line and turns a pass into CANNOTRUN.
    TestResult settleFiles(TestResult result, std::vector<std::string>& files);
    RunReport::Context runContext(const Options& options, const std::vector<Test*>& selected) const;
    // Tells why, writes the reports asked for with that error, and returns the result's code.
    int endBeforeTests(const Options& options, const std::vector<Test*>& selected,
                       TestResult result, const std::string& problem);
    // False, after saying so, when a report cannot be written.
    static bool writeReports(const Options& options, const RunReport& report);

    std::vector<std::unique_ptr<Test>> tests_;
    std::vector<std::unique_ptr<Event>> events_;
    std::vector<std::unique_ptr<Parameter>> parameters_;
    std::vector<std::string> arguments_;
    std::string version_ = "0.0";
    DiagModule::ModuleInitCallback initCallback_ = nullptr;
    DiagModule::RecordingCheck recordingCheck_ = nullptr;
    bool moduleInitialized_ = false;

    // State of the run in progress.
    std::mutex runMutex_;
    std::unique_ptr<DeviceSource> deviceSource_;
    std::shared_ptr<kvo::FileLogSink> logFile_;
    std::unique_ptr<BaseFolderLock> baseFolderLock_;
    std::vector<DiagDevice> optionalDevices_;
    std::unique_ptr<RunOutput> output_;
    std::unique_ptr<RunReport> report_;
    std::string currentTest_;
    bool currentTestExplained_ = false;  // a warning or error event said why it did not pass
    std::string baseDirectory_ = ".";
    bool promptEnable_ = false;
};

}  // namespace vesk5::host
