#pragma once

#include <ostream>

namespace kvo {

// The module's console streams; the host or a test may point them elsewhere.
std::ostream& cout();
std::ostream& cerr();

// Redirects the console streams for the lifetime of the object.
class ConsoleRedirect {
public:
    ConsoleRedirect(std::ostream& out, std::ostream& err);
    ~ConsoleRedirect();
    ConsoleRedirect(const ConsoleRedirect&) = delete;
    ConsoleRedirect& operator=(const ConsoleRedirect&) = delete;

private:
    std::ostream* previousOut_;
    std::ostream* previousErr_;
};

}  // namespace kvo
