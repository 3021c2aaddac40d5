// What happens when the library is loaded, in order, in one place.
//
// A step is added here by the subsystem that needs it; no other source may have an object whose
// construction at load does anything. All further state of the process is built at its first use,
// and none of it is torn down.
#include "zynkops.h"
#include "zynkplat.h"
#include "zynktrc.h"
#include "zynkvoc_lookup.h"

ZynString _trcfile;

namespace {

struct Load {
    Load() noexcept {
        zynkplat::PrepareLocks();
        zynkvoc::MakeWords();
        ZynOpSys::_pid = zynkplat::CurrentProcessId();
        _trcfile = "TRACE.LOG";
        ZynTrace::Load();
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
    // The trace ends in its own steps; no other state of the process is torn down.
    ~Load() { ZynTrace::Unload(); }
};

const Load load;

} // namespace
