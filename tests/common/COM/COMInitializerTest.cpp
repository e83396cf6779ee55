#include "common/COM/comptr.hpp"

#include <gtest/gtest.h>

#include <thread>

#include "support/CapturingLogSink.hpp"

namespace kvormicrophone {
namespace {

// Whether COM is fully uninitialised on this thread: a fresh initialise then answers S_OK.
bool comIsUninitialised() {
    const com::HRESULT result = com::initialize();
    if (result >= 0) {
        com::uninitialize();
    }
    return result == com::kOk;
}

// Each case runs on a thread of its own, so COM starts uninitialised.
template <typename Body>
void onFreshThread(Body body) {
    std::thread(body).join();
}

TEST(COMInitializer, TheFirstScopeInitialisesANestedOneGetsSFalseAndBothBalance) {
    onFreshThread([] {
        {
            COMInitializer outer;
            EXPECT_EQ(outer.result(), com::kOk);
            {
                COMInitializer inner;
                EXPECT_EQ(inner.result(), com::kFalse);
            }
            EXPECT_FALSE(comIsUninitialised());  // the outer one still holds it
        }
        EXPECT_TRUE(comIsUninitialised());
    });
}

TEST(COMInitializer, FailedInitialiseIsOnlyLoggedAndNotBalanced) {
    onFreshThread([] {
        kvo::test::CapturingLogSink log;
        ASSERT_EQ(com::initializeMultithreaded(), com::kOk);
        {
            COMInitializer scope;
            EXPECT_EQ(scope.result(), com::kChangedMode);
        }
        // Had the scope uninitialised, this would drop the thread's only initialisation.
        com::uninitialize();
        EXPECT_TRUE(comIsUninitialised());
        EXPECT_TRUE(log.contains("comptr", "49 CoInitialize returns -2147417850"));
    });
}

}  // namespace
}  // namespace kvormicrophone
