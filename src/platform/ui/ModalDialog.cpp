#include "ModalDialog.hpp"

#include <algorithm>
#include <chrono>

namespace ui {

ModalDialog::ModalDialog(const DialogTemplate& layout, DialogHandler& handler) : handler_(handler) {
    for (const ControlSpec& definition : layout.controls) {
        Control control;
        control.definition = definition;
        control.enabled = definition.enabled;
        controls_.push_back(std::move(control));
    }
}

int ModalDialog::run() {
    handler_.onInitDialog(*this);
    while (!ended_) {
        if (dispatchMessage() || fireTimer()) {
            continue;
        }
        idle(msUntilNextTimer());
    }
    timers_.clear();
    return result_;
}

const ModalDialog::Control* ModalDialog::find(int id) const {
    const auto it = std::find_if(controls_.begin(), controls_.end(),
                                 [id](const Control& c) { return c.definition.id == id; });
    return it == controls_.end() ? nullptr : &*it;
}

ModalDialog::Control* ModalDialog::find(int id) {
    return const_cast<Control*>(static_cast<const ModalDialog*>(this)->find(id));
}

const ModalDialog::Control* ModalDialog::findRole(ControlRole role) const {
    const auto it = std::find_if(controls_.begin(), controls_.end(),
                                 [role](const Control& c) { return c.definition.role == role; });
    return it == controls_.end() ? nullptr : &*it;
}

bool ModalDialog::roleEnabled(ControlRole role) const {
    const Control* control = findRole(role);
    return control != nullptr && control->enabled;
}

void ModalDialog::setCaption(const std::string& text) {
    caption_ = text;
    ++revision_;
}

void ModalDialog::setText(int id, const std::string& text) {
    if (Control* control = find(id)) {
        control->text = text;
        ++revision_;
    }
}

std::string ModalDialog::text(int id) const {
    const Control* control = find(id);
    return control != nullptr ? control->text : std::string();
}

void ModalDialog::enable(int id, bool enabled) {
    if (Control* control = find(id); control != nullptr && control->enabled != enabled) {
        control->enabled = enabled;
        ++revision_;
    }
}

bool ModalDialog::isEnabled(int id) const {
    const Control* control = find(id);
    return control != nullptr && control->enabled;
}

void ModalDialog::setFocus(int id) {
    if (find(id) != nullptr) {
        focus_ = id;
    }
}

void ModalDialog::setProgress(int id, int position) {
    if (Control* control = find(id); control != nullptr && control->position != position) {
        control->position = std::clamp(position, 0, 100);
        ++revision_;
    }
}

int ModalDialog::progress(int id) const {
    const Control* control = find(id);
    return control != nullptr ? control->position : 0;
}

void ModalDialog::clearList(int id) {
    if (Control* control = find(id)) {
        control->items.clear();
        control->selection = -1;
        ++revision_;
    }
}

int ModalDialog::addListItem(int id, const std::string& text, std::uintptr_t data) {
    Control* control = find(id);
    if (control == nullptr) {
        return -1;
    }
    control->items.emplace_back(text, data);
    ++revision_;
    return static_cast<int>(control->items.size()) - 1;
}

int ModalDialog::listCount(int id) const {
    const Control* control = find(id);
    return control != nullptr ? static_cast<int>(control->items.size()) : 0;
}

void ModalDialog::selectListItem(int id, int index) {
    if (Control* control = find(id)) {
        control->selection =
            index >= 0 && index < static_cast<int>(control->items.size()) ? index : -1;
        ++revision_;
    }
}

int ModalDialog::selectedListItem(int id) const {
    const Control* control = find(id);
    return control != nullptr ? control->selection : -1;
}

std::uintptr_t ModalDialog::listItemData(int id, int index) const {
    const Control* control = find(id);
    if (control == nullptr || index < 0 || index >= static_cast<int>(control->items.size())) {
        return 0;
    }
    return control->items[static_cast<std::size_t>(index)].second;
}

void ModalDialog::setTimer(unsigned timerId, unsigned periodMs) {
    const kvo::Clock::Duration period = std::chrono::milliseconds(std::max(periodMs, 1u));
    timers_[timerId] = Timer{period, kvo::Clock::instance().now() + period};
}

void ModalDialog::killTimer(unsigned timerId) {
    timers_.erase(timerId);
}

void ModalDialog::post(unsigned message, std::uintptr_t wParam, std::intptr_t lParam) {
    std::lock_guard lock(queueMutex_);
    queue_.push_back({message, wParam, lParam});
}

void ModalDialog::end(int result) {
    ended_ = true;
    result_ = result;
}

void ModalDialog::press(int id) {
    if (isEnabled(id) && !ended_) {
        const Control* control = find(id);
        if (control->definition.kind == ControlKind::Button) {
            handler_.onCommand(id);
        }
    }
}

void ModalDialog::pressRole(ControlRole role) {
    if (const Control* control = findRole(role)) {
        press(control->definition.id);
    }
}

void ModalDialog::cancelByUser() {
    if (!ended_) {
        handler_.onCommand(IDCANCEL);
    }
}

void ModalDialog::choose(int listId, int index) {
    Control* control = find(listId);
    if (control != nullptr && control->enabled && index >= 0 &&
        index < static_cast<int>(control->items.size()) && index != control->selection) {
        control->selection = index;
        ++revision_;
        handler_.onSelectionChange(listId);
    }
}

bool ModalDialog::dispatchMessage() {
    Message message{};
    {
        std::lock_guard lock(queueMutex_);
        if (queue_.empty()) {
            return false;
        }
        message = queue_.front();
        queue_.pop_front();
    }
    handler_.onMessage(message.message, message.wParam, message.lParam);
    return true;
}

bool ModalDialog::fireTimer() {
    const kvo::Clock::Duration now = kvo::Clock::instance().now();
    for (auto& [id, timer] : timers_) {
        if (timer.due <= now) {
            timer.due = now + timer.period;
            const unsigned timerId = id;
            handler_.onTimer(timerId);  // may change timers_
            return true;
        }
    }
    return false;
}

std::uint32_t ModalDialog::msUntilNextTimer() const {
    constexpr std::uint32_t kNoTimerMs = 10;
    if (timers_.empty()) {
        return kNoTimerMs;
    }
    kvo::Clock::Duration next = timers_.begin()->second.due;
    for (const auto& entry : timers_) {
        next = std::min(next, entry.second.due);
    }
    const auto wait =
        std::chrono::duration_cast<std::chrono::milliseconds>(next - kvo::Clock::instance().now());
    return static_cast<std::uint32_t>(std::clamp<long long>(wait.count(), 1, kNoTimerMs));
}

}  // namespace ui
