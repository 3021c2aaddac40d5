#include "zynktime.h"

#include <ostream>

ZynTimeStamp::OutOfRangeException::OutOfRangeException(const ZynOrigin& origin,
                                                       const ZynString& value)
    : ZynIntException(origin), _value(value) {}

void ZynTimeStamp::OutOfRangeException::PrintOn(std::ostream& os) const {
    os << "\nZynTimeStamp " << _value << " is out of allowed range\n";
}
