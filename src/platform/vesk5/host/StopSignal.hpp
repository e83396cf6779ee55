#pragma once

namespace vesk5::host {

// Ctrl-C, SIGTERM or SIGHUP requests a stop. A second one asks the run to end as
// soon as the running test has stopped and the user's levels are back, and ends
// the process with the USERABORTED code if that takes more than a few seconds;
// a third ends it at once. SIGPIPE is ignored.
void installStopSignal();
bool stopSignalled();
// Whether a second interrupt came: no further test may start.
bool endRequested();
void requestStop();
void clearStopRequest();

}  // namespace vesk5::host
