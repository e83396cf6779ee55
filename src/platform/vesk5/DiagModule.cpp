#include "DiagModule.hpp"

#include "host/EventCatalogue.hpp"
#include "host/Framework.hpp"

namespace vesk5 {

using host::Framework;
using host::Severity;

Test* DiagModule::createTest(const std::string& name, const DeviceCapability& capability,
                             TestFunction function) {
    return Framework::instance().createTest(name, capability, function);
}

Event* DiagModule::createEvent(const std::string& key) {
    return Framework::instance().createEvent(key);
}

Parameter* DiagModule::createParameter(const std::string& name, DataType type,
                                       const std::string& description, bool required,
                                       bool userSettable) {
    return Framework::instance().createParameter(name, type, description, required, userSettable);
}

void DiagModule::setCmdLineArgs(int argc, const char* const* argv) {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
    }
    Framework::instance().setCmdLineArgs(std::move(arguments));
}

void DiagModule::setVersion(unsigned major, unsigned minor, const std::string& build) {
    Framework::instance().setVersion(major, minor, build);
}

void DiagModule::setModuleInitCallback(ModuleInitCallback callback) {
    Framework::instance().setModuleInitCallback(callback);
}

void DiagModule::setRecordingCheck(RecordingCheck check) {
    Framework::instance().setRecordingCheck(check);
}

int DiagModule::start() {
    return Framework::instance().start();
}

unsigned DiagModule::optionalDeviceCount() {
    return Framework::instance().optionalDeviceCount();
}

const DiagDevice& DiagModule::optionalDevice(unsigned index) {
    return Framework::instance().optionalDevice(index);
}

void DiagModule::informative(Event* event, const char* source, int line) {
    Framework::instance().raise(event, Severity::Informative, source, line);
}

void DiagModule::warning(Event* event, const char* source, int line) {
    Framework::instance().raise(event, Severity::Warning, source, line);
}

void DiagModule::error(Event* event, const char* source, int line) {
    Framework::instance().raise(event, Severity::Error, source, line);
}

void DiagModule::reportMeasurement(const Measurement& measurement) {
    Framework::instance().measured(measurement);
}

void DiagModule::reportNote(const std::string& text) {
    Framework::instance().noted(text);
}

bool DiagModule::promptEnable() {
    return Framework::instance().promptEnable();
}

bool DiagModule::checkForStop() {
    return Framework::instance().checkForStop();
}

void DiagModule::percentDone(int percent) {
    Framework::instance().percentDone(percent);
}

std::string DiagModule::getBaseDirectory() {
    return Framework::instance().baseDirectory();
}

std::unique_ptr<MessageBox2> DiagModule::createMessageBox2(const std::string& caption,
                                                           const std::string& text) {
    return Framework::instance().createMessageBox2(caption, text);
}

std::string DiagModule::localizedText(const Event* event) {
    return event != nullptr ? host::eventText(event->key(), event->variables()) : std::string();
}

}  // namespace vesk5
