#pragma once

#include <memory>
#include <string>

#include "CommandLine.hpp"

namespace vesk5::host {

// Chooses the dialog front end of a run and installs it (ui::currentDialogService)
// for the lifetime of the returned object:
//   --ui console | scripted | win32 as given; without --ui, scripted when
//   --answer is given, else console when standard input is a terminal, else
//   scripted answering cancel (nobody is there to answer).
// Throws UsageError for --ui win32 where no Win32 dialogs are built, and for
// --answer with another front end than scripted.
std::shared_ptr<void> openFrontEnd(const Options& options, std::string& chosen);

}  // namespace vesk5::host
