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

std::string audioSystemsText(const std::vector<AudioChoice>& audioChoices) {
    std::string text = "Audio systems (--audio NAME; the first is the default):\n";
    std::size_t width = 0;
    for (const AudioChoice& choice : audioChoices) {
        width = std::max(width, choice.name.size());
    }
    for (const AudioChoice& choice : audioChoices) {
        text += fmt::format("  {:<{}}  {}\n", choice.name, width, choice.description);
    }
    return text;
}

constexpr const char* kExitStatusText =
    "Exit status: the run's result code: 0 PASS, 1 FAIL, 2 NODEVICE, 3 NOTSUPPORTED,\n"
    "4 CANNOTRUN, 5 BADPARAMS, 6 USERABORTED, 7 EXITEDABNORMALLY, 8 INTERNALERROR,\n"
    "9 TESTNOTSTARTED.\n";

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
        "");
    const std::string defaultAudio =
        audioChoices.empty() ? std::string("none") : audioChoices.front().name;
    command
        .add_option("--audio", options.audio,
                    fmt::format("Audio system to test: {} (default: {})", choiceNames(audioChoices),
                                defaultAudio))
        ->type_name("NAME")
        ->check(knownAudio);
    command
        .add_option("--machine", options.machine,
                    "Simulated PC to run on, a JSON machine file (with --audio sim)")
        ->type_name("FILE.json");
}

std::string defaultBaseDirText() {
#ifdef _WIN32
    return "%LOCALAPPDATA%\\kvormicrophone";
#else
    return "$XDG_STATE_HOME/kvormicrophone, else ~/.local/state/kvormicrophone";
#endif
}

// Every command and option with what it does; --help is answered from here.
struct CommandLineApp {
    CLI::App app{
        "Tests the microphones of a PC and the path from its integrated speakers to its "
        "integrated microphones.",
        "kvormicrophone"};
    CLI::App* list = nullptr;
    CLI::App* devices = nullptr;
    CLI::App* run = nullptr;
    CLI::App* meter = nullptr;
    CLI::App* analyze = nullptr;
    bool version = false;

    CommandLineApp(Options& options, const std::vector<AudioChoice>& audioChoices) {
        app.set_help_flag("-h,--help", "Print this help, or a command's: run --help");
        app.set_help_all_flag("--help-all", "Print the help of every command");
        app.add_flag("--version", version, "Print the program's version");
        app.require_subcommand(0, 1);
        app.footer("\nThe base folder of run by default: " + defaultBaseDirText() + "\n\n" +
                   audioSystemsText(audioChoices) + "\n" + kExitStatusText);

        list = app.add_subcommand("list", "List the tests, their parameters and their events");
        list->add_flag("--json", options.json, "Print JSON instead of text");

        devices = app.add_subcommand(
            "devices", "List the audio endpoints and cards, their formats and levels");
        addAudioOptions(*devices, options, audioChoices);
        devices->add_flag("--json", options.json, "Print JSON instead of text");

        run = app.add_subcommand("run", "Run tests and print their results");
        run->add_option("TEST", options.tests, "Tests to run, by name (see: kvormicrophone list)")
            ->type_name("")
            ->required();
        run->add_option("--param", options.params,
                        "A test parameter, e.g. --param FrequencyList=440,1000,4000")
            ->type_name("NAME=VALUE")
            ->allow_extra_args(false);
        run->add_option("--setting", options.settings,
                        "A setting, e.g. kvormicrophone.GenerateRecording.value=true")
            ->type_name("SECTION.KEY=VALUE")
            ->allow_extra_args(false);
        addAudioOptions(*run, options, audioChoices);
        run->add_flag("--json", options.json, "Print JSON instead of text");
        run->add_option("--base-dir", options.baseDir,
                        "Folder for the log, recordings and settings (default: below)")
            ->type_name("DIR");
        run->add_flag("--realtime", options.realtime,
                      "On a simulated PC, take as long as real hardware");
        run->add_option("--report", options.reportPath, "Also write the run's report as JSON")
            ->type_name("FILE.json");
        run->add_option("--html", options.htmlPath,
                        "Also write the run as one HTML page with spectra and levels")
            ->type_name("FILE.html");
        run->add_option("--junit", options.junitPath,
                        "Also write the run as JUnit XML, for CI servers and dashboards")
            ->type_name("FILE.xml");
        run->add_option("--log-level", options.logLevel,
                        "Least priority logged: 1 detail, 2 information (default), 3 errors")
            ->type_name("1|2|3")
            ->check(CLI::Range(1, 3).description(""));
        run->add_option("--ui", options.ui,
                        "Interactive test's front end (default: console on a terminal, else "
                        "scripted)")
            ->type_name("console|scripted|win32")
            ->check(CLI::IsMember({"console", "scripted", "win32"}).description(""));
        run->add_option("--answer", options.answer,
                        "With --ui scripted: the answer to the question")
            ->type_name("pass|fail|cancel")
            ->check(CLI::IsMember({"pass", "fail", "cancel"}).description(""));
        run->footer("\nThe base folder by default: " + defaultBaseDirText() + "\n\n" +
                    audioSystemsText(audioChoices) + "\n" + kExitStatusText);

        meter = app.add_subcommand(
            "meter",
            "Show a microphone's live levels with its volume, mute and boost, until Ctrl-C");
        addAudioOptions(*meter, options, audioChoices);
        meter
            ->add_option("--device", options.device,
                         "The microphone, by id or name (default: the default microphone)")
            ->type_name("ID|NAME");
        meter->add_option("--seconds", options.seconds, "Stop after this many seconds")
            ->type_name("N")
            ->check(CLI::Range(1U, 86400U).description(""));
        meter->add_flag("--realtime", options.realtime,
                        "On a simulated PC, take as long as real hardware");
        meter->footer(
            "\nA line per quarter second when the output is not a terminal:\n"
            "  L -23.4 dBFS peak -18.0  R -24.1 dBFS peak -19.2  [clip]  [muted]\n"
            "The meter only reads the volume, mute and boost; it never sets them.\n\n" +
            audioSystemsText(audioChoices) +
            "\nExit status: 0 at the end, 2 no microphone, 4 the capture cannot "
            "start,\n5 a bad option or an unknown device.\n");
        analyze = app.add_subcommand(
            "analyze", "Check a saved recording for its tone, as the tone test checks a capture");
        analyze->add_option("FILE", options.recording, "The WAV file, e.g. logs/1000.wav")
            ->type_name("")
            ->required();
        analyze
            ->add_option("--frequency", options.frequency,
                         "The tone to look for, in Hz (default: the number its name starts "
                         "with, as in 1000.wav)")
            ->type_name("HZ")
            ->check(CLI::Range(20U, 20000U).description(""));
        analyze->add_flag("--json", options.json, "Print JSON instead of text");
        analyze->footer(
            "\nThe last 40 % of the recording is analysed, as in the tone test; the file is\n"
            "only read. A line of figures per channel, then the verdict:\n"
            "  1000 Hz  file \"1000.wav\" L: found 1000.0 Hz (+/-0.68)  -12.3 dBFS  SNR 41 dB  "
            "PASS\n\n"
            "Exit status: 0 the tone was heard in every channel, 1 it was not, 4 the file\n"
            "cannot be read or analysed, 5 a bad option or no frequency known.\n");
        for (CLI::App* command : {list, devices, run, meter, analyze}) {
            command->set_help_flag("-h,--help", "Print this command's help");
        }
    }

    // The help of the command named before the help flag, or the program's.
    std::string help(const std::vector<std::string>& argumentsBeforeHelp) const {
        for (const std::string& argument : argumentsBeforeHelp) {
            for (CLI::App* command : {list, devices, run, meter, analyze}) {
                if (argument == command->get_name()) {
                    return command->help("kvormicrophone");
                }
            }
        }
        return app.help();
    }
};

}  // namespace

Options parseCommandLine(const std::vector<std::string>& arguments,
                         const std::vector<AudioChoice>& audioChoices) {
    Options options;
    CommandLineApp commandLine(options, audioChoices);

    // Help is asked for by an argument of its own, not by the value of an option
    // ("--base-dir -h" names a folder).
    static const std::set<std::string> kTakesValue{
        "--param", "--setting",   "--audio", "--machine", "--base-dir", "--report",  "--html",
        "--junit", "--log-level", "--ui",    "--answer",  "--device",   "--seconds", "--frequency"};
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == "--help-all") {
            options.command = Command::Help;
            options.helpText = commandLine.app.help("", CLI::AppFormatMode::All);
            return options;
        }
        if (arguments[i] == "--help" || arguments[i] == "-h") {
            options.command = Command::Help;
            options.helpText = commandLine.help({arguments.begin(), arguments.begin() + i});
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
        commandLine.app.parse(reversed);
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }
    // An empty name would silently mean "the default" instead of what was typed.
    for (CLI::App* command : {commandLine.devices, commandLine.run, commandLine.meter}) {
        for (const char* name :
             {"--base-dir", "--machine", "--report", "--html", "--junit", "--device"}) {
            const CLI::Option* option = command->get_option_no_throw(name);
            if (option != nullptr && option->count() > 0 && option->results().back().empty()) {
                throw UsageError(std::string(name) + " needs a value that is not empty");
            }
        }
    }
    if (commandLine.version) {
        if (arguments.size() != 1) {
            throw UsageError("--version takes no command");
        }
        options.command = Command::Version;
    } else if (commandLine.list->parsed()) {
        options.command = Command::List;
    } else if (commandLine.devices->parsed()) {
        options.command = Command::Devices;
    } else if (commandLine.run->parsed()) {
        options.command = Command::Run;
    } else if (commandLine.meter->parsed()) {
        options.command = Command::Meter;
    } else if (commandLine.analyze->parsed()) {
        if (options.recording.empty()) {
            throw UsageError("analyze needs a file name that is not empty");
        }
        options.command = Command::Analyze;
    } else {
        throw UsageError("no command given; try --help");
    }
    return options;
}

}  // namespace vesk5::host
