#pragma once

// The Windows SDK headers of the wasapi backend, for its own .cpp files only.
// They come after the layer's headers: the SDK defines WAVE_FORMAT_PCM and
// DEVICE_STATE_ACTIVE as macros, which the layer defines as constants.

#include <windows.h>
// windows.h first: the others build on its types.
#include <audioclient.h>
#include <devicetopology.h>
#include <endpointvolume.h>
#include <functiondiscoverykeys_devpkey.h>
#include <mmdeviceapi.h>
#include <mmsystem.h>
#include <setupapi.h>
