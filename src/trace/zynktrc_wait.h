// How a thread of the trace waits for what others do outside of it, in functions of the host.
#pragma once

#include <chrono>
#include <thread>

#include "zynkplat.h"

namespace zynktrc {

using Patience = std::chrono::milliseconds;
constexpr Patience None{0};
constexpr Patience Endless = Patience::max();

/// Waits until `isMet` answers true; false if it has not for as long as `patience`.
template <class Condition>
bool WaitUntil(const Condition& isMet, Patience patience) {
    constexpr Patience Step{1};
    const zynkplat::Uncancelled extent;
    for (Patience waited = None; !isMet(); waited += Step) {
        if (waited >= patience)
            return false;
        std::this_thread::sleep_for(Step);
    }
    return true;
}

} // namespace zynktrc
