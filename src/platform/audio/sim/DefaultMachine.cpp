#include "Machine.hpp"

namespace audio::sim {

// A typical laptop: one HD-audio codec with built-in speakers and a built-in
// stereo microphone array, and a headset jack (speakers out, microphone in)
// with nothing plugged in. docs/machine-file.md explains every field.
std::string_view defaultMachineJson() {
    return R"json({
  "name": "Typical laptop",
  "seed": 1,
  "windowsVersion": "10.0",
  "soundCards": [
    {
      "id": "hda",
      "name": "High Definition Audio Device",
      "driver": "hdaudio.sys",
      "driverVersion": "10.0.19041.3636"
    }
  ],
  "endpoints": [
    {
      "id": "speakers",
      "card": "hda",
      "direction": "render",
      "name": "Speakers",
      "formFactor": "speakers",
      "default": true,
      "formats": {
        "shared": [
          { "rate": 48000, "bits": 16, "channels": 2 },
          { "rate": 44100, "bits": 16, "channels": 2 },
          { "rate": 48000, "bits": 24, "channels": 2 },
          { "rate": 48000, "bits": 32, "channels": 2, "type": "float" },
          { "rate": 96000, "bits": 24, "channels": 2 }
        ],
        "exclusive": [
          { "rate": 44100, "bits": 16, "channels": 2 },
          { "rate": 48000, "bits": 16, "channels": 2 },
          { "rate": 48000, "bits": 24, "channels": 2 },
          { "rate": 96000, "bits": 24, "channels": 2 },
          { "rate": 192000, "bits": 24, "channels": 2 }
        ]
      },
      "volume": { "minDb": -65.25, "maxDb": 0, "stepDb": 0.75, "channels": 2, "percent": 50 },
      "jacks": [
        {
          "connectionType": "unknown",
          "location": "bottom",
          "generalLocation": "internal",
          "port": "integrated",
          "channelMapping": 3
        }
      ]
    },
    {
      "id": "headphones",
      "card": "hda",
      "direction": "render",
      "name": "Headphones",
      "formFactor": "headphones",
      "state": "unplugged",
      "volume": { "minDb": -65.25, "maxDb": 0, "stepDb": 0.75, "channels": 2, "percent": 40 },
      "jacks": [
        {
          "connectionType": "3.5mm",
          "location": "left",
          "generalLocation": "primaryBox",
          "port": "jack",
          "color": "#000000",
          "connected": false
        }
      ]
    },
    {
      "id": "mic-array",
      "card": "hda",
      "direction": "capture",
      "name": "Microphone Array",
      "formFactor": "microphone",
      "default": true,
      "formats": {
        "shared": [
          { "rate": 48000, "bits": 16, "channels": 2 },
          { "rate": 44100, "bits": 16, "channels": 2 },
          { "rate": 48000, "bits": 16, "channels": 1 },
          { "rate": 16000, "bits": 16, "channels": 1 },
          { "rate": 48000, "bits": 32, "channels": 2, "type": "float" }
        ],
        "exclusive": [
          { "rate": 44100, "bits": 16, "channels": 2 },
          { "rate": 48000, "bits": 16, "channels": 2 },
          { "rate": 48000, "bits": 24, "channels": 2 }
        ]
      },
      "volume": { "minDb": -34.5, "maxDb": 12, "stepDb": 0.75, "channels": 2, "percent": 70 },
      "jacks": [
        {
          "connectionType": "unknown",
          "location": "insideLid",
          "generalLocation": "internal",
          "port": "integrated",
          "channelMapping": 3
        }
      ],
      "stages": [
        { "name": "Microphone Boost", "channels": 2, "minDb": 0, "maxDb": 30, "stepDb": 10, "levelDb": 10 }
      ],
      "noiseDbfs": -80
    },
    {
      "id": "headset-mic",
      "card": "hda",
      "direction": "capture",
      "name": "Headset Microphone",
      "formFactor": "headset",
      "state": "unplugged",
      "volume": { "minDb": -17.25, "maxDb": 30, "stepDb": 0.75, "channels": 2, "percent": 60 },
      "jacks": [
        {
          "connectionType": "3.5mm",
          "location": "left",
          "generalLocation": "primaryBox",
          "port": "jack",
          "color": "#FF8080",
          "connected": false
        }
      ],
      "stages": [
        { "name": "Microphone Boost", "channels": 2, "minDb": 0, "maxDb": 30, "stepDb": 10, "levelDb": 0 }
      ],
      "noiseDbfs": -85
    }
  ],
  "paths": [
    {
      "speaker": "speakers",
      "microphone": "mic-array",
      "gainDb": -24,
      "delayMs": 0.5,
      "highPassHz": 300,
      "lowPassHz": 12000
    },
    {
      "speaker": "speakers",
      "microphone": "headset-mic",
      "gainDb": -40,
      "delayMs": 1.5,
      "highPassHz": 300,
      "lowPassHz": 10000
    }
  ]
}
)json";
}

}  // namespace audio::sim
