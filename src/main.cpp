#include "platform/kvo/Console.hpp"

int main() {
    kvo::cout() << "IntegratedMicrophoneTest\nMicrophoneTest\nFrequencyToneTest\n";
    return 0;
}
