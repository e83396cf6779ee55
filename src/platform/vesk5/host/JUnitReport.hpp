#pragma once

#include <string>

#include "RunReport.hpp"

namespace vesk5::host {

// The run as JUnit XML (the Ant/Jenkins form CI servers read): one testsuite
// per test and device, with one testcase for its result and one per check
// that reported figures. A failed check or result is a failure carrying the
// event texts and the figures; NODEVICE and NOTSUPPORTED are skipped; any
// other result that is not PASS is an error.
std::string junitXml(const RunReport& report, const std::string& hostName);

}  // namespace vesk5::host
