#pragma once

#include "platform/kvo/Stopwatch.hpp"

namespace kvormicrophone {

// Called on every poll of a recording wait; its stopwatch restarts with each wait.
class WaitHandler {
public:
    virtual ~WaitHandler() = default;
    void start() { stopwatch_.reset(); }
    virtual void onPoll() = 0;

protected:
    const kvo::Stopwatch& stopwatch() const { return stopwatch_; }

private:
    kvo::Stopwatch stopwatch_;
};

class WaitHandlerDoNothing : public WaitHandler {
public:
    void onPoll() override {}
};

}  // namespace kvormicrophone
