#include "Framework.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "HtmlReport.hpp"
#include "JUnitReport.hpp"
#include "LogDirectory.hpp"
#include "ResultReason.hpp"
#include "RunLogHeader.hpp"
#include "StopSignal.hpp"
#include "Terminal.hpp"
#include "UserStateDirectory.hpp"
#include "platform/kvo/Console.hpp"
#include "platform/kvo/Exception.hpp"
#include "platform/kvo/FileSystem.hpp"
#include "platform/kvo/HostInfo.hpp"
#include "platform/kvo/LogSinks.hpp"
#include "platform/kvo/Resource.hpp"

// The run command: the tests named on the command line, one after the other, with
// their devices, files, reports and the user's levels put back.
namespace vesk5::host {
namespace {

Framework::FrontEndFactory frontEndFactory = nullptr;

std::string requestedAudioText(const Options& options, const std::vector<AudioChoice>& choices) {
    std::string name = options.audio;
    if (name.empty()) {
        name = choices.empty() ? "none" : choices.front().name + " (default)";
    }
    return options.machine.empty() ? name
                                   : fmt::format("{}, machine file {}", name, options.machine);
}

bool namesSimulatedAudio(const Options& options, const std::vector<AudioChoice>& choices) {
    return std::any_of(choices.begin(), choices.end(), [&](const AudioChoice& choice) {
        return choice.name == options.audio && choice.simulated;
    });
}

TestResult combine(TestResult overall, TestResult next) {
    return overall == TestResult::PASS() ? next : overall;
}

}  // namespace

void Framework::setFrontEndFactory(FrontEndFactory factory) {
    frontEndFactory = factory;
}

std::string Framework::selectTests(const Options& options, std::vector<Test*>& selected) {
    for (const std::string& name : options.tests) {
        const auto it = std::find_if(tests_.begin(), tests_.end(),
                                     [&](const auto& t) { return t->name() == name; });
        if (it == tests_.end()) {
            std::vector<std::string> known;
            for (const auto& test : tests_) {
                known.push_back(test->name());
            }
            return fmt::format("unknown test '{}' (tests: {})", name, fmt::join(known, ", "));
        }
        selected.push_back(it->get());
    }
    return {};
}

std::string Framework::applyParameters(const Options& options, const std::vector<Test*>& selected) {
    for (const std::string& assignment : options.params) {
        const std::size_t equals = assignment.find('=');
        if (equals == std::string::npos || equals == 0) {
            return fmt::format("malformed --param '{}': expected NAME=VALUE", assignment);
        }
        const std::string name = assignment.substr(0, equals);
        const std::string value = assignment.substr(equals + 1);
        bool found = false;
        for (Test* test : selected) {
            if (Parameter* parameter = test->findParameter(name)) {
                found = true;
                if (!parameter->setFromText(value)) {
                    return fmt::format(
                        "parameter {} of {} expects a {} value, got '{}'", name, test->name(),
                        parameter->type() == DataType::BOOLEAN() ? "true/false" : "whole number",
                        value);
                }
            }
        }
        if (!found) {
            return fmt::format("no test being run has a parameter '{}'", name);
        }
    }
    return {};
}

std::string Framework::prepareBaseDirectory(const Options& options) {
    // Never the current directory: the tone test clears old recordings from
    // logs/, which must not be the user's own folder by accident.
    baseDirectory_ = options.baseDir.empty() ? userStateDirectory() : options.baseDir;
    if (baseDirectory_.empty()) {
        return "no per-user folder to write to (HOME is not set); name one with --base-dir";
    }
    if (std::string problem = prepareLogDirectory(baseDirectory_); !problem.empty()) {
        return problem;
    }
    baseFolderLock_ = std::make_unique<BaseFolderLock>();
    if (std::string problem = baseFolderLock_->acquire(baseDirectory_); !problem.empty()) {
        baseFolderLock_.reset();
        return problem;
    }
    return {};
}

std::string Framework::unwritableReport(const Options& options) {
    for (const std::string* path : {&options.reportPath, &options.htmlPath, &options.junitPath}) {
        if (!path->empty()) {
            if (const std::string problem = kvo::checkWritable(*path); !problem.empty()) {
                return fmt::format("cannot write the report file {}: {}", *path, problem);
            }
        }
    }
    return {};
}

std::string Framework::applySettings(const Options& options) {
    kvo::Settings settings;
    const std::string file = baseDirectory_ + "/kvormicrophone.ini";
    try {
        if (kvo::FileSystem::exists(file)) {
            settings = kvo::Settings::load(file);
        }
    } catch (const kvo::Exception& error) {
        return error.getMessage();
    }
    kvo::Resource::setSettings(std::move(settings));
    for (const std::string& assignment : options.settings) {
        if (!kvo::Resource::applyOverride(assignment)) {
            return fmt::format("malformed --setting '{}': expected SECTION.KEY=VALUE", assignment);
        }
    }
    const kvo::Resource::SettingsProblems problems = kvo::Resource::checkSettings();
    for (const std::string& warning : problems.warnings) {
        kvo::cerr() << "kvormicrophone: warning: " << warning << std::endl;
    }
    return problems.errors.empty() ? std::string() : problems.errors.front();
}

RunReport::Context Framework::runContext(const Options& options,
                                         const std::vector<Test*>& selected) const {
    RunReport::Context context;
    context.commandLine = arguments_;
    for (const Test* test : selected) {
        for (const Parameter* parameter : test->parameters()) {
            context.parameters.push_back({test->name(), parameter->name(),
                                          parameter->value().toString(), parameter->isSet()});
        }
    }
    const std::string settingsFile = baseDirectory_ + "/kvormicrophone.ini";
    if (kvo::FileSystem::exists(settingsFile)) {
        context.settingsFile = settingsFile;
    }
    context.settingOverrides = options.settings;
    context.hostName = kvo::hostName();
    context.operatingSystem = kvo::operatingSystem();
    context.audioDescription = deviceSource_ ? deviceSource_->audioDescription() : "";
    context.baseDirectory = baseDirectory_;
    context.logFile = logDirectory(baseDirectory_) + "/kvormicrophone.log";
    return context;
}

int Framework::endBeforeTests(const Options& options, const std::vector<Test*>& selected,
                              TestResult result, const std::string& problem) {
    kvo::cerr() << "kvormicrophone: " << problem << std::endl;
    RunReport report(version_, options.audio.empty() ? "none" : options.audio,
                     namesSimulatedAudio(options, audioChoices()));
    report.setContext(runContext(options, selected));
    report.setError(problem);
    report.finish(result);
    writeReports(options, report);
    return result.value();
}

bool Framework::writeReports(const Options& options, const RunReport& report) {
    try {
        if (!options.reportPath.empty()) {
            report.write(options.reportPath);
        }
        if (!options.htmlPath.empty()) {
            writeReportFile(options.htmlPath, htmlReport(report));
        }
        if (!options.junitPath.empty()) {
            writeReportFile(options.junitPath, junitXml(report, kvo::hostName()));
        }
    } catch (const kvo::Exception& error) {
        kvo::cerr() << "kvormicrophone: " << error.getMessage() << std::endl;
        return false;
    }
    return true;
}

int Framework::run(const Options& options) {
    std::vector<Test*> selected;
    for (const std::string& problem :
         {selectTests(options, selected), applyParameters(options, selected)}) {
        if (!problem.empty()) {
            return endBeforeTests(options, selected, TestResult::BADPARAMS(), problem);
        }
    }
    std::string frontEndName = options.ui;
    std::shared_ptr<void> frontEnd;
    if (frontEndFactory != nullptr) {
        try {
            frontEnd = frontEndFactory(options, frontEndName);
        } catch (const UsageError& error) {
            return endBeforeTests(options, selected, TestResult::BADPARAMS(), error.what());
        }
    }
    if (const std::string problem = prepareBaseDirectory(options); !problem.empty()) {
        return endBeforeTests(options, selected, TestResult::CANNOTRUN(), problem);
    }
    // Refused now rather than after the tests have run for nothing; with nowhere
    // to write it, the run ends without a report.
    if (const std::string problem = unwritableReport(options); !problem.empty()) {
        kvo::cerr() << "kvormicrophone: " << problem << std::endl;
        return TestResult::CANNOTRUN().value();
    }
    if (const std::string problem = applySettings(options); !problem.empty()) {
        return endBeforeTests(options, selected, TestResult::BADPARAMS(), problem);
    }

    kvo::Logger::setGlobalPriority(options.logLevel.value_or(kvo::kLogInfo));
    try {
        deviceSource_.reset();
        closeLogFile();
        logFile_ = std::make_shared<kvo::FileLogSink>(logDirectory(baseDirectory_) +
                                                      "/kvormicrophone.log");
        kvo::Logger::addSink(logFile_);
        logRunHeader(version_, arguments_, requestedAudioText(options, audioChoices()));
        deviceSource_ = openDevices(options);
    } catch (const UsageError& error) {
        closeLogFile();
        return endBeforeTests(options, selected, TestResult::BADPARAMS(), error.what());
    } catch (const kvo::Exception& error) {
        closeLogFile();
        return endBeforeTests(options, selected, TestResult::CANNOTRUN(), error.getMessage());
    }

    // However the run ends, even by an exception, nothing of it may write to
    // the console afterwards. The log file stays open for the module's teardown.
    struct RunState {
        Framework& framework;
        ~RunState() {
            kvo::Logger::flushAll();
            std::lock_guard lock(framework.runMutex_);
            framework.output_.reset();
            framework.report_.reset();
        }
    } runState{*this};

    installStopSignal();
    promptEnable_ = frontEndName == "console" || frontEndName == "win32";
    output_ = std::make_unique<RunOutput>(kvo::cout(), options.json, isTerminal(kvo::cout()));
    report_ = std::make_unique<RunReport>(version_, deviceSource_->audioName(),
                                          deviceSource_->simulated());
    RunReport::Context context = runContext(options, selected);
    if (!options.htmlPath.empty()) {
        context.devices = deviceSource_->describeDevices(false);
    }
    report_->setContext(std::move(context));

    TestResult overall = TestResult::PASS();
    for (Test* test : selected) {
        if (endRequested()) {
            overall = combine(overall, TestResult::USERABORTED());
            break;
        }
        overall = combine(overall, runTest(*test));
    }
    // Log lines written between the tests count too.
    std::vector<std::string> betweenTests;
    overall = combine(overall, settleFiles(TestResult::PASS(), betweenTests));
    output_->runResult(overall);
    logRunVerdict(overall);
    output_->whereFiles(logDirectory(baseDirectory_) + "/kvormicrophone.log",
                        logDirectory(baseDirectory_));
    report_->finish(overall);

    return writeReports(options, *report_) ? overall.value()
                                           : combine(overall, TestResult::CANNOTRUN()).value();
}

void Framework::closeDevices() {
    deviceSource_.reset();
    closeLogFile();
    baseFolderLock_.reset();
}

void Framework::closeLogFile() {
    if (logFile_) {
        kvo::Logger::removeSink(logFile_);
        logFile_.reset();
    }
}

TestResult Framework::runGuarded(Test& test, const DiagDevice& device) {
    std::string problem;
    try {
        return test.function()(device);
    } catch (const kvo::Exception& error) {
        problem = error.getMessage();
    } catch (const std::exception& error) {
        problem = error.what();
    } catch (...) {
        problem = "an exception of unknown type";
    }
    KVO_LOG(kvo::Logger::get("vesk5"), kvo::kLogError, "{} ended by an internal error: {}",
            test.name(), problem);
    kvo::cerr() << "kvormicrophone: " << test.name() << " ended by an internal error: " << problem
                << std::endl;
    return TestResult::EXITEDABNORMALLY();
}

TestResult Framework::settleFiles(TestResult result, std::vector<std::string>& files) {
    kvo::FileJournal journal = kvo::takeFileJournal();
    const std::string logs = logDirectory(baseDirectory_);
    for (std::string& path : journal.written) {
        if (path.size() > logs.size() && path.compare(0, logs.size(), logs) == 0 &&
            (path[logs.size()] == '/' || path[logs.size()] == '\\') &&
            std::find(files.begin(), files.end(), path) == files.end()) {
            files.push_back(std::move(path));
        }
    }
    std::sort(files.begin(), files.end());
    if (journal.failures.empty()) {
        return result;
    }
    kvo::cerr() << "kvormicrophone: " << journal.failures.front()
                << (journal.failures.size() > 1
                        ? fmt::format(" (and {} more files)", journal.failures.size() - 1)
                        : std::string())
                << std::endl;
    // A verdict on the hardware stands; a pass whose files are missing does not.
    return result == TestResult::PASS() ? TestResult::CANNOTRUN() : result;
}

TestResult Framework::runTest(Test& test) {
    std::vector<DiagDevice> candidates;
    for (DiagDevice& device : deviceSource_->testDevices()) {
        if (test.accepts(device)) {
            candidates.push_back(std::move(device));
        }
    }
    optionalDevices_.clear();
    for (DiagDevice& device : deviceSource_->optionalDevices()) {
        const auto& wanted = test.optionalDeviceCapabilities();
        if (std::find(wanted.begin(), wanted.end(), device.type()) != wanted.end()) {
            optionalDevices_.push_back(std::move(device));
        }
    }
    if (candidates.empty()) {
        output_->note(fmt::format("{}: no {} device to run on (audio system: {})", test.name(),
                                  test.capability().name(), deviceSource_->audioName()));
        report_->beginTest(test.name(), "");
        report_->endTest(TestResult::NODEVICE(), {});
        output_->testResult(test.name(), TestResult::NODEVICE(), deviceSource_->simulated(), {});
        return TestResult::NODEVICE();
    }
    if (test.enumeratesOnlyOnce()) {
        candidates.erase(candidates.begin() + 1, candidates.end());
    }
    TestResult overall = TestResult::PASS();
    for (const DiagDevice& device : candidates) {
        kvo::takeFileJournal();  // what was written before this test is not its own
        {
            std::lock_guard lock(runMutex_);
            currentTest_ = test.name();
            currentTestExplained_ = false;
            report_->beginTest(test.name(), device.name());
        }
        output_->testStarted(test.name(), device.name());
        for (Parameter* parameter : test.parameters()) {
            parameter->setProblem({});
        }
        const auto reasons = std::make_shared<ResultReasonSink>();
        kvo::Logger::addSink(reasons);
        std::vector<std::string> files;
        const TestResult result = settleFiles(runGuarded(test, device), files);
        kvo::Logger::removeSink(reasons);
        bool explained = false;
        {
            std::lock_guard lock(runMutex_);
            report_->endTest(result, std::move(files));
            currentTest_.clear();
            explained = currentTestExplained_;
        }
        std::string reason = parameterProblems(test);
        if (reason.empty()) {
            reason = resultReason(result, reasons->take(), explained,
                                  logDirectory(baseDirectory_) + "/kvormicrophone.log");
        }
        output_->testResult(test.name(), result, deviceSource_->simulated(), reason);
        overall = combine(overall, result);
    }
    return overall;
}

}  // namespace vesk5::host
