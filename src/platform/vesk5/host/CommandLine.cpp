#include "CommandLine.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>

namespace vesk5::host {

namespace {

std::string choiceNames(const std::vector<AudioChoice>& choices) {
    std::string names;
    for (const AudioChoice& choice : choices) {
        names += (names.empty() ? "" : ", ") + choice.name;
    }
    return names;
}

}  // namespace

std::string usageText(const std::vector<AudioChoice>& audioChoices) {
    std::string text =
        "Usage:\n"
        "  kvormicrophone list [--json]\n"
        "  kvormicrophone devices [--audio NAME] [--machine FILE.json] [--json]\n"
        "  kvormicrophone run TEST... [--param NAME=VALUE]... [--setting SECTION.KEY=VALUE]...\n"
        "                 [--audio NAME] [--machine FILE.json] [--base-dir DIR] [--realtime]\n"
        "                 [--json] [--report FILE.json] [--log-level 1|2|3]\n"
        "                 [--ui console|scripted|win32] [--answer pass|fail|cancel]\n"
        "\n"
        "Audio systems (--audio NAME; the first is the default):\n";
    std::size_t width = 0;
    for (const AudioChoice& choice : audioChoices) {
        width = std::max(width, choice.name.size());
    }
    for (const AudioChoice& choice : audioChoices) {
        text += fmt::format("  {:<{}}  {}\n", choice.name, width, choice.description);
    }
    return text +
           "\n"
           "Exit status: the run's result code: 0 PASS, 1 FAIL, 2 NODEVICE, 3 NOTSUPPORTED, 4 "
           "CANNOTRUN,\n"
           "5 BADPARAMS, 6 USERABORTED, 7 EXITEDABNORMALLY, 8 INTERNALERROR, 9 TESTNOTSTARTED.\n";
}

namespace {

void addAudioOptions(CLI::App& command, Options& options,
                     const std::vector<AudioChoice>& audioChoices) {
    const CLI::Validator knownAudio(
        [&audioChoices](const std::string& name) -> std::string {
            const bool known =
                std::any_of(audioChoices.begin(), audioChoices.end(),
                            [&name](const AudioChoice& choice) { return choice.name == name; });
            return known ? std::string()
                         : fmt::format(
                               "the {} audio system is not available in this build (available "
                               "here: {})",
                               name, choiceNames(audioChoices));
        },
        "NAME");
    command.add_option("--audio", options.audio)->check(knownAudio);
    command.add_option("--machine", options.machine);
    command.add_flag("--json", options.json);
}

}  // namespace

Options parseCommandLine(const std::vector<std::string>& arguments,
                         const std::vector<AudioChoice>& audioChoices) {
    Options options;
    CLI::App app("kvormicrophone");
    app.set_help_flag();  // --help is answered with usageText(), before parsing
    app.require_subcommand(0, 1);

    CLI::App* list = app.add_subcommand("list");
    list->add_flag("--json", options.json);

    CLI::App* devices = app.add_subcommand("devices");
    addAudioOptions(*devices, options, audioChoices);

    CLI::App* run = app.add_subcommand("run");
    run->add_option("TEST", options.tests)->required();
    run->add_option("--param", options.params)->allow_extra_args(false);
    run->add_option("--setting", options.settings)->allow_extra_args(false);
    addAudioOptions(*run, options, audioChoices);
    run->add_option("--base-dir", options.baseDir);
    run->add_flag("--realtime", options.realtime);
    run->add_option("--report", options.reportPath);
    run->add_option("--log-level", options.logLevel)->check(CLI::Range(1, 3));
    run->add_option("--ui", options.ui)->check(CLI::IsMember({"console", "scripted", "win32"}));
    run->add_option("--answer", options.answer)->check(CLI::IsMember({"pass", "fail", "cancel"}));

    // Help is asked for by an argument of its own, not by the value of an option
    // ("--base-dir -h" names a folder).
    static const std::set<std::string> kTakesValue{"--param",     "--setting",  "--audio",
                                                   "--machine",   "--base-dir", "--report",
                                                   "--log-level", "--ui",       "--answer"};
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == "--help" || arguments[i] == "-h") {
            return options;
        }
        if (kTakesValue.count(arguments[i]) != 0) {
            ++i;
        }
    }
    if (arguments.empty()) {
        throw UsageError("no command given; try --help");
    }

    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    try {
        app.parse(reversed);
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }
    // An empty name would silently mean "the default" instead of what was typed.
    for (CLI::App* command : {devices, run}) {
        for (const char* name : {"--base-dir", "--machine", "--report"}) {
            const CLI::Option* option = command->get_option_no_throw(name);
            if (option != nullptr && option->count() > 0 && option->results().back().empty()) {
                throw UsageError(std::string(name) + " needs a value that is not empty");
            }
        }
    }
    if (list->parsed()) {
        options.command = Command::List;
    } else if (devices->parsed()) {
        options.command = Command::Devices;
    } else {
        options.command = Command::Run;
    }
    return options;
}

}  // namespace vesk5::host
