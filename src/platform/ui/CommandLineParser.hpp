#pragma once

#include <string>
#include <vector>

namespace libMFC {

// The process command line with the module's file name as argument 0, in the
// argc/argv form the framework takes. Arguments are UTF-8.
class CommandLineParser {
public:
    CommandLineParser(std::string moduleFileName, const std::vector<std::string>& arguments);

    int argc() const { return static_cast<int>(pointers_.size()) - 1; }
    const char* const* argv() const { return pointers_.data(); }

private:
    std::vector<std::string> arguments_;
    std::vector<const char*> pointers_;
};

// The arguments after the program name, as UTF-8 on every platform.
std::vector<std::string> processArguments(int argc, char** argv);

}  // namespace libMFC
