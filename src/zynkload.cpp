// What happens when the library is loaded, in order, in one place.
//
// A step is added here by the subsystem that needs it; no other source may have an object whose
// construction at load does anything. All further state of the process is built at its first use,
// and none of it is torn down.
#include "zynktrc.h"
#include "zynkvoc_lookup.h"

namespace {

struct Load {
    Load() noexcept {
        zynkvoc::MakeWords();
        ZynTrace::Init();
    }
};

const Load load;

} // namespace
