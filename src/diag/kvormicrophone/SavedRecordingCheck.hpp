#pragma once

#include <string>

#include "platform/vesk5/DiagModule.hpp"

namespace kvormicrophone {

// `kvormicrophone analyze`: the tone test's check of a saved recording, on any
// path. The expected tone is `frequency`, or when 0 the one the file's name
// gives; none known is BADPARAMS, a file that cannot be analysed CANNOTRUN.
vesk5::DiagModule::RecordingVerdict checkSavedRecording(const std::string& path,
                                                        unsigned frequency);

}  // namespace kvormicrophone
