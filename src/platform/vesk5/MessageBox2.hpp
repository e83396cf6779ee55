#pragma once

#include <string>

namespace vesk5 {

// A message to the person at the machine. Shown by the host's user interface;
// without one (automation), it is written to the run's output and answered "OK".
class MessageBox2 {
public:
    enum class Button { Ok, Cancel };

    MessageBox2(std::string caption, std::string text)
        : caption_(std::move(caption)), text_(std::move(text)) {}
    virtual ~MessageBox2() = default;

    const std::string& caption() const { return caption_; }
    const std::string& text() const { return text_; }
    virtual Button show() = 0;

private:
    std::string caption_;
    std::string text_;
};

}  // namespace vesk5
