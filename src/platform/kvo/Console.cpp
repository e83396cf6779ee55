#include "Console.hpp"

#include <atomic>
#include <iostream>

namespace kvo {
namespace {
std::atomic<std::ostream*> currentOut{&std::cout};
std::atomic<std::ostream*> currentErr{&std::cerr};
}  // namespace

std::ostream& cout() {
    return *currentOut.load();
}
std::ostream& cerr() {
    return *currentErr.load();
}

ConsoleRedirect::ConsoleRedirect(std::ostream& out, std::ostream& err)
    : previousOut_(currentOut.exchange(&out)), previousErr_(currentErr.exchange(&err)) {}

ConsoleRedirect::~ConsoleRedirect() {
    currentOut.store(previousOut_);
    currentErr.store(previousErr_);
}

}  // namespace kvo
