#pragma once

#include <string>
#include <vector>

namespace kvormicrophone {

// The module's application object: its Run() is the whole life of the module.
class CMicrophoneApp {
public:
    // Hands the command line to the framework, runs it and returns its exit
    // code; an escaped framework or library exception gives EXITEDABNORMALLY.
    int Run(const std::vector<std::string>& arguments);

private:
    void tearDownSingletons();
};

extern CMicrophoneApp theApp;

// Called by the framework once, before any test function: creates the parameters.
void moduleInitialize();

}  // namespace kvormicrophone
