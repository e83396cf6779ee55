#pragma once

namespace kvo {

// Single keys without echo from a terminal on standard input, for as long as
// the object lives; the terminal is put back as it was afterwards. Nothing
// changes when standard input is no terminal (or on Windows, whose console
// reads single keys without echo anyway).
class RawKeyboard {
public:
    RawKeyboard();
    ~RawKeyboard();
    RawKeyboard(const RawKeyboard&) = delete;
    RawKeyboard& operator=(const RawKeyboard&) = delete;

private:
    bool owner_ = false;
};

// Puts the terminal back as it was before a RawKeyboard took it, if one holds
// it now. Safe in a signal handler: a process that ends at once calls it first,
// so that the user's shell does not go on without echo.
void restoreKeyboard() noexcept;

}  // namespace kvo
