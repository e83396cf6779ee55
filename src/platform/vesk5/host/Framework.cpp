#include "Framework.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "EventCatalogue.hpp"
#include "JsonText.hpp"
#include "StopSignal.hpp"
#include "Terminal.hpp"
#include "platform/kvo/Console.hpp"
#include "platform/kvo/Exception.hpp"
#include "platform/kvo/LogSinks.hpp"

namespace vesk5::host {
namespace {

DeviceSources installedSources;

// The host without an audio system: nothing to enumerate.
class NoDevices : public DeviceSource {
public:
    std::vector<DiagDevice> testDevices() override { return {}; }
    std::vector<DiagDevice> optionalDevices() override { return {}; }
    std::string audioName() const override { return "none"; }
    bool simulated() const override { return false; }
    std::string describeDevices(bool json) override {
        return json ? "{\"audio\":\"none\",\"soundCards\":[],\"endpoints\":[]}\n"
                    : "No audio system is available in this build.\n";
    }
};

// Prompts go to the run's output when nobody is there to click.
class OutputMessageBox : public MessageBox2 {
public:
    OutputMessageBox(std::string caption, std::string text, RunOutput* output)
        : MessageBox2(std::move(caption), std::move(text)), output_(output) {}
    Button show() override {
        if (output_ != nullptr) {
            output_->note(fmt::format("[{}] {}", caption(), text()));
        }
        return Button::Ok;
    }

private:
    RunOutput* output_;
};

std::string flagsText(const Test& test) {
    std::vector<std::string> flags;
    if (test.interactive()) {
        flags.emplace_back("interactive");
    }
    if (test.createsOwnGUI()) {
        flags.emplace_back("creates own GUI");
    }
    if (test.enumeratesOnlyOnce()) {
        flags.emplace_back("enumerates once");
    }
    for (const DeviceProperty& requirement : test.devicePropertyRequirements()) {
        flags.push_back(fmt::format("requires {}={}", requirement.name, requirement.value));
    }
    for (const DeviceCapability& capability : test.optionalDeviceCapabilities()) {
        flags.push_back(fmt::format("optional devices: {}", capability.name()));
    }
    return fmt::format("{}", fmt::join(flags, ", "));
}

}  // namespace

Framework& Framework::instance() {
    // Created on first use: module globals register with it during static initialisation.
    static Framework* framework = new Framework;
    return *framework;
}

void Framework::setDeviceSources(DeviceSources sources) {
    installedSources = std::move(sources);
}

const std::vector<AudioChoice>& Framework::audioChoices() {
    return installedSources.choices;
}

std::unique_ptr<DeviceSource> Framework::openDevices(const Options& options) {
    if (installedSources.open == nullptr) {
        return std::make_unique<NoDevices>();
    }
    return installedSources.open(options);
}

Test* Framework::createTest(const std::string& name, const DeviceCapability& capability,
                            TestFunction function) {
    tests_.push_back(std::make_unique<Test>(name, capability, function));
    return tests_.back().get();
}

Event* Framework::createEvent(const std::string& key) {
    events_.push_back(std::make_unique<Event>(key));
    return events_.back().get();
}

Parameter* Framework::createParameter(const std::string& name, DataType type,
                                      const std::string& description, bool required,
                                      bool userSettable) {
    parameters_.push_back(
        std::make_unique<Parameter>(name, type, description, required, userSettable));
    return parameters_.back().get();
}

void Framework::setVersion(unsigned major, unsigned minor, const std::string& build) {
    version_ = fmt::format("{}.{}.{}", major, minor, build);
}

const DiagDevice& Framework::optionalDevice(unsigned index) const {
    if (index >= optionalDevices_.size()) {
        throw VeskException(fmt::format("optional device {} requested, {} available", index,
                                        optionalDevices_.size()));
    }
    return optionalDevices_[index];
}

void Framework::raise(Event* event, Severity severity, const char* source, int line) {
    if (event == nullptr) {
        return;
    }
    RaisedEvent raised{event->key(),
                       severity,
                       eventText(event->key(), event->variables()),
                       event->variables(),
                       source != nullptr ? source : "",
                       line};
    KVO_LOG(kvo::Logger::get("vesk5"),
            severity == Severity::Informative ? kvo::kLogInfo : kvo::kLogError,
            "Event {} ({}) from {}:{}: {}", raised.key, severityName(severity), raised.source, line,
            raised.text);
    std::lock_guard lock(runMutex_);
    currentTestExplained_ = currentTestExplained_ || severity != Severity::Informative;
    if (output_) {
        output_->event(currentTest_, raised);
    }
    if (report_ && report_->current() != nullptr) {
        report_->current()->events.push_back(std::move(raised));
    }
}

void Framework::measured(const Measurement& measurement) {
    KVO_LOG(kvo::Logger::get("vesk5"), kvo::kLogInfo, "Measured {}: {} ({}) {}", measurement.check,
            measurement.summary, measurement.diagnosis, measurement.passed ? "PASS" : "FAIL");
    std::lock_guard lock(runMutex_);
    if (output_) {
        output_->measurement(currentTest_, measurement);
    }
    if (report_ && report_->current() != nullptr) {
        report_->current()->measurements.push_back(measurement);
    }
}

void Framework::noted(const std::string& text) {
    KVO_LOG(kvo::Logger::get("vesk5"), kvo::kLogInfo, "Note: {}", text);
    std::lock_guard lock(runMutex_);
    if (output_) {
        output_->testNote(currentTest_, text);
    }
    if (report_ && report_->current() != nullptr) {
        report_->current()->notes.push_back(text);
    }
}

bool Framework::checkForStop() {
    return stopSignalled() || (deviceSource_ && deviceSource_->stopRequested());
}

void Framework::percentDone(int percent) {
    std::lock_guard lock(runMutex_);
    if (output_) {
        output_->progress(currentTest_, percent);
    }
    if (report_ && report_->current() != nullptr) {
        report_->current()->progress.push_back(percent);
    }
}

std::unique_ptr<MessageBox2> Framework::createMessageBox2(const std::string& caption,
                                                          const std::string& text) {
    return std::make_unique<OutputMessageBox>(caption, text, output_.get());
}

void Framework::initializeModule() {
    if (!moduleInitialized_ && initCallback_ != nullptr) {
        moduleInitialized_ = true;
        initCallback_();
    }
}

int Framework::start() {
    Options options;
    try {
        options = parseCommandLine(arguments_, installedSources.choices);
    } catch (const UsageError& error) {
        kvo::cerr() << "kvormicrophone: " << error.what() << std::endl;
        return TestResult::BADPARAMS().value();
    }
    initializeModule();
    switch (options.command) {
        case Command::Help:
            kvo::cout() << options.helpText << std::flush;
            return TestResult::PASS().value();
        case Command::Version:
            kvo::cout() << "kvormicrophone " << version_ << std::endl;
            return TestResult::PASS().value();
        case Command::List:
            return list(options.json);
        case Command::Devices:
            return devices(options);
        case Command::Meter:
            if (installedSources.meter == nullptr) {
                kvo::cerr() << "kvormicrophone: no audio system is available in this build"
                            << std::endl;
                return TestResult::CANNOTRUN().value();
            }
            return installedSources.meter(options);
        case Command::Analyze:
            return analyze(options);
        case Command::Run:
            break;
    }
    return run(options);
}

int Framework::analyze(const Options& options) {
    if (recordingCheck_ == nullptr) {
        kvo::cerr() << "kvormicrophone: this build has no recording analysis" << std::endl;
        return TestResult::CANNOTRUN().value();
    }
    constexpr const char* kName = "analyze";
    {
        std::lock_guard lock(runMutex_);
        output_ = std::make_unique<RunOutput>(kvo::cout(), options.json, false);
        currentTest_ = kName;
    }
    const DiagModule::RecordingVerdict verdict =
        recordingCheck_(options.recording, options.frequency);
    const bool checked =
        verdict.result == TestResult::PASS() || verdict.result == TestResult::FAIL();
    if (!checked) {
        kvo::cerr() << "kvormicrophone: " << printable(verdict.reason) << std::endl;
    }
    // A recording that could not be checked was told about on one line; --json has it too.
    if (checked || options.json) {
        output_->testResult(kName, verdict.result, false, verdict.reason);
    }
    std::lock_guard lock(runMutex_);
    output_.reset();
    currentTest_.clear();
    return verdict.result.value();
}

int Framework::list(bool json) {
    if (json) {
        nlohmann::json tests = nlohmann::json::array();
        for (const auto& test : tests_) {
            nlohmann::json parameters = nlohmann::json::array();
            for (const Parameter* parameter : test->parameters()) {
                parameters.push_back({{"name", parameter->name()},
                                      {"type", parameter->type().name()},
                                      {"description", parameter->description()},
                                      {"example", parameter->example()}});
            }
            tests.push_back({{"name", test->name()},
                             {"capability", test->capability().name()},
                             {"flags", flagsText(*test)},
                             {"parameters", parameters}});
        }
        nlohmann::json events = nlohmann::json::array();
        for (const auto& event : events_) {
            events.push_back({{"key", event->key()}, {"text", eventText(event->key())}});
        }
        kvo::cout() << jsonText(nlohmann::json{{"module", "kvormicrophone"},
                                               {"version", version_},
                                               {"tests", tests},
                                               {"events", events}},
                                2)
                    << std::endl;
        return TestResult::PASS().value();
    }
    kvo::cout() << fmt::format("kvormicrophone {}\n\nTests:\n", version_);
    for (const auto& test : tests_) {
        kvo::cout() << fmt::format("  {}  (device: {}; {})\n", test->name(),
                                   test->capability().name(), flagsText(*test));
        for (const Parameter* parameter : test->parameters()) {
            kvo::cout() << fmt::format("      --param {}=<{}>\n", parameter->name(),
                                       parameter->type().name());
            if (!parameter->description().empty()) {
                kvo::cout() << fmt::format("          {}\n", parameter->description());
            }
            if (!parameter->example().empty()) {
                kvo::cout() << fmt::format("          e.g. --param {}={}\n", parameter->name(),
                                           parameter->example());
            }
        }
    }
    kvo::cout() << fmt::format("\nEvents ({}):\n", events_.size());
    for (const auto& event : events_) {
        kvo::cout() << fmt::format("  {:<32} {}\n", event->key(), eventText(event->key()));
    }
    kvo::cout().flush();
    return TestResult::PASS().value();
}

int Framework::devices(const Options& options) {
    try {
        std::unique_ptr<DeviceSource> source = openDevices(options);
        const std::string description = source->describeDevices(options.json);
        kvo::cout() << (options.json ? description : printable(description, true)) << std::flush;
        return TestResult::PASS().value();
    } catch (const UsageError& error) {
        kvo::cerr() << "kvormicrophone: " << error.what() << std::endl;
        return TestResult::BADPARAMS().value();
    } catch (const kvo::Exception& error) {
        kvo::cerr() << "kvormicrophone: " << error.getMessage() << std::endl;
        return TestResult::CANNOTRUN().value();
    }
}

}  // namespace vesk5::host
