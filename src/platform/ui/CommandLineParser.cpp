#include "CommandLineParser.hpp"

#ifdef _WIN32
#include <windows.h>
// shellapi.h builds on the declarations of windows.h.
#include <shellapi.h>
#endif

namespace libMFC {

CommandLineParser::CommandLineParser(std::string moduleFileName,
                                     const std::vector<std::string>& arguments) {
    arguments_.push_back(std::move(moduleFileName));
    arguments_.insert(arguments_.end(), arguments.begin(), arguments.end());
    for (const std::string& argument : arguments_) {
        pointers_.push_back(argument.c_str());
    }
    pointers_.push_back(nullptr);
}

std::vector<std::string> processArguments(int argc, char** argv) {
    std::vector<std::string> arguments;
#ifdef _WIN32
    // The narrow argv of Windows is in the ANSI code page; take the wide one.
    static_cast<void>(argc);
    static_cast<void>(argv);
    int count = 0;
    LPWSTR* wide = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; wide != nullptr && i < count; ++i) {
        const int bytes =
            WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
        std::string utf8(static_cast<std::size_t>(bytes > 0 ? bytes - 1 : 0), '\0');
        WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, utf8.data(), bytes, nullptr, nullptr);
        arguments.push_back(std::move(utf8));
    }
    LocalFree(wide);
#else
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
    }
#endif
    return arguments;
}

}  // namespace libMFC
