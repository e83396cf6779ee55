#include "MicrophoneBoostControl.hpp"

#include <algorithm>
#include <vector>

#include "diag/kvormicrophone/ModuleLogger.hpp"
#include "platform/kvo/TraceLogger.hpp"

namespace kvormicrophone {

using audio::succeeded;

bool MicrophoneBoostControl::initialize(audio::AudioDevice& microphone) {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneBoostControl::initialize",
                           "MicrophoneBoostControl");
    restore();
    boostedStages = 0;
    appliedGainDb = 0.0;
    kvo::Array<audio::AudioComponent<audio::IConnector>> connectors;
    if (microphone.connector(connectors) == 0 || connectors.empty()) {
        KVO_LOG_TAG(moduleLogger(), kvo::kLogError, 79,
                    "Possible driver problem. Endpoint type must have at least 1 connector");
        return false;
    }
    connector.reset();
    std::shared_ptr<audio::IConnector> adapterSide;
    if (connectors[0].component == nullptr ||
        !succeeded(connectors[0].component->GetConnectedTo(adapterSide))) {
        KVO_LOG_TAG(moduleLogger(), kvo::kLogError, 87,
                    "Potential driver problem : microphone device connector does not have an "
                    "output connector");
        return false;
    }
    connector = adapterSide;
    std::shared_ptr<audio::IPart> part;
    if (succeeded(connector->QueryInterface(part)) && part != nullptr) {
        micName = microphone.friendlyName();
        registerVolumeControllers(part);
    }
    KVO_LOG_TAG(moduleLogger(), kvo::kLogInfo, 99, "Microphone boost controller enumeration {}",
                controllers.empty() ? "failed" : "succeeded");
    return !controllers.empty();
}

// Depth first, downstream from the adapter's connector: a part that has a
// volume level is a gain stage whatever its type. The walk keeps its own stack,
// so that a topology of any depth cannot overflow the thread's, and it visits at
// most kMaxParts parts, so that a topology that loops back cannot hold it.
void MicrophoneBoostControl::registerVolumeControllers(const std::shared_ptr<audio::IPart>& root) {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneBoostControl::registerVolumeControllers",
                           "MicrophoneBoostControl");
    std::vector<std::shared_ptr<audio::IPart>> pending{root};
    std::uint32_t visited = 0;
    while (!pending.empty()) {
        if (++visited > kMaxParts) {
            KVO_LOG(moduleLogger(), kvo::kLogError,
                    "The topology behind {} has more than {} parts; the rest is not searched",
                    micName, kMaxParts);
            return;
        }
        const std::shared_ptr<audio::IPart> part = std::move(pending.back());
        pending.pop_back();
        std::shared_ptr<audio::IAudioVolumeLevel> controller;
        if (succeeded(part->Activate(controller)) && controller != nullptr) {
            KVO_LOG_TAG(moduleLogger(), kvo::kLogDetail, 40, "Appending volume controller");
            parts.append(part);
            controllers.append(controller);
            float level = 0.0F;
            controller->GetLevel(0, level);
            savedLevels.append(level);
        }
        std::shared_ptr<audio::IPartsList> outgoing;
        if (succeeded(part->EnumPartsOutgoing(outgoing)) && outgoing != nullptr) {
            std::uint32_t count = 0;
            const bool counted = succeeded(outgoing->GetCount(count));
            KVO_LOG_TAG(moduleLogger(), kvo::kLogDetail, 54, "Number of part count {}", count);
            // Pushed last to first, so that the first outgoing part is searched first.
            const std::size_t firstChild = pending.size();
            for (std::uint32_t i = 0; counted && i < count; ++i) {
                std::shared_ptr<audio::IPart> next;
                if (succeeded(outgoing->GetPart(i, next)) && next != nullptr) {
                    pending.push_back(std::move(next));
                }
            }
            std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(firstChild), pending.end());
        }
    }
}

bool MicrophoneBoostControl::maximizeBoost() {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneBoostControl::maximizeBoost",
                           "MicrophoneBoostControl");
    boostedStages = 0;
    appliedGainDb = 0.0;
    for (const auto& controller : controllers) {
        float minimum = 0.0F;
        float maximum = 0.0F;
        float step = 0.0F;
        controller->GetLevelRange(0, minimum, maximum, step);
        float before = 0.0F;
        controller->GetLevel(0, before);
        ++boostedStages;
        appliedGainDb += static_cast<double>(maximum - before);
        std::uint32_t channels = 1;
        controller->GetChannelCount(channels);
        for (std::uint32_t channel = 0; channel < channels; ++channel) {
            controller->SetLevel(channel, maximum);
        }
    }
    if (controllers.empty()) {
        KVO_LOG_TAG(moduleLogger(), kvo::kLogInfo, 122, "This microphone {} has no boost control",
                    micName);
        return false;
    }
    return true;
}

void MicrophoneBoostControl::restore() {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneBoostControl::restore",
                           "MicrophoneBoostControl");
    // Only channel 0 goes back; the other channels keep their maximum.
    for (std::uint32_t i = 0; i < savedLevels.size(); ++i) {
        controllers[i]->SetLevel(0, savedLevels[i]);
    }
    controllers.clear();
    parts.clear();
    savedLevels.clear();
    connector.reset();
}

}  // namespace kvormicrophone
