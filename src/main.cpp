#include "diag/kvormicrophone/MicrophoneApp.hpp"
#include "platform/ui/CommandLineParser.hpp"
#include "platform/vesk5/host/AudioDeviceSource.hpp"
#include "platform/vesk5/host/Framework.hpp"
#include "platform/vesk5/host/FrontEndSource.hpp"

int main(int argc, char** argv) {
    vesk5::host::Framework::setDeviceSources(vesk5::host::audioDeviceSources());
    vesk5::host::Framework::setFrontEndFactory(vesk5::host::openFrontEnd);
    const int exitCode = kvormicrophone::theApp.Run(libMFC::processArguments(argc, argv));
    vesk5::host::Framework::instance().closeDevices();
    return exitCode;
}
