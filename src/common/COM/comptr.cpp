#include "comptr.hpp"

#include "platform/kvo/Logger.hpp"
#include "platform/kvo/TraceLogger.hpp"

namespace kvormicrophone {
namespace {
kvo::Logger& logger() {
    static kvo::Logger& instance = kvo::Logger::get("comptr");
    return instance;
}
}  // namespace

COMInitializer::COMInitializer() : m_hr(com::kFail) {
    kvo::TraceLogger trace(logger(), "COMInitializer::COMInitializer", "comptr");
    m_hr = com::initialize();
    KVO_LOG_TAG(logger(), kvo::kLogDetail, 49, "CoInitialize returns {}", m_hr);
}

COMInitializer::~COMInitializer() {
    if (m_hr < 0) {
        return;
    }
    try {
        com::uninitialize();
    } catch (...) {
        KVO_LOG_TAG(logger(), kvo::kLogDetail, 63,
                    "The uninitialization of the COM object created an excecption.");
    }
}

}  // namespace kvormicrophone
