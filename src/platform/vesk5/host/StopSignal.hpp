#pragma once

namespace vesk5::host {

// Ctrl-C requests a stop; a second Ctrl-C ends the process at once with
// the USERABORTED code.
void installStopSignal();
bool stopSignalled();
void requestStop();
void clearStopRequest();

}  // namespace vesk5::host
