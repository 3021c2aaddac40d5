// What happens when the library is loaded, in order, in one place.
//
// A step is added here by the subsystem that needs it; no other source may have an object whose
// construction at load does anything. All further state of the process is built at its first use,
// and none of it is torn down.
#include <cstdio>

#include "zynkops.h"
#include "zynkplat.h"
#include "zynktrc.h"
#include "zynkvoc_lookup.h"
#include "zynkxcp.h"

ZynString _trcfile;

namespace {

// A program of the system does not run without the facts of its installation. Who started it is to
// know why.
void StartTrace() {
    try {
        ZynTrace::Load();
    } catch (const ZynException& e) {
        std::fprintf(stderr, "zynkernn: can't be loaded: %s\n", e.AsString().C_str());
        throw;
    }
}

struct Load {
    Load() noexcept {
        zynkplat::PrepareLocks();
        zynkvoc::MakeWords();
        ZynOpSys::_pid = zynkplat::CurrentProcessId();
        _trcfile = "TRACE.LOG";
        StartTrace();
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
    // The trace ends in its own steps; no other state of the process is torn down.
    ~Load() { ZynTrace::Unload(); }
};

const Load load;

} // namespace
