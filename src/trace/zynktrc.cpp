#include "zynktrc.h"

// Constant, so that a line of a static object built before the library is loaded meets closed
// gates.
std::int32_t ZynTrace::_Level = 0;
int ZynTrace::_Components = 0;
int ZynTrace::_Categories = 0;
bool ZynTrace::_On = false;
bool ZynTrace::_Xt = false;
bool ZynTrace::_dumped = false;

// A trace without settings is off.
void ZynTrace::Init() noexcept {
    _On = false;
    _Xt = false;
}

// While the trace has not been set up its lines are lost.
void ZynTrace::Trace(const char* /*file*/, unsigned long /*line*/, const char* /*function*/,
                     unsigned long /*level*/, int /*category*/, int /*component*/,
                     const std::ostringstream& /*items*/) {}

void ZynTrace::TraceCtx(const char* file, unsigned long line, const char* function,
                        unsigned long level, int category, int component, int /*contextMask*/,
                        const std::ostringstream& items) {
    Trace(file, line, function, level, category, component, items);
}
