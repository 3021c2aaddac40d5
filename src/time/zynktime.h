// ZynTimeStamp: a moment in Greenwich time.
#pragma once

#include "zynkstr.h"
#include "zynkxcp.h"

class ZYN_EXPORT ZynTimeStamp {
  public:
    class OutOfRangeException;
};

/// A time value is outside of what a time stamp can hold.
class ZYN_EXPORT ZynTimeStamp::OutOfRangeException : public ZynIntException {
  public:
    OutOfRangeException(const ZynOrigin& origin, const ZynString& value);

    /// The value as a text, may be null.
    const ZynString& Value() const { return _value; }

  protected:
    void PrintOn(std::ostream& os) const override;

  private:
    ZynString _value;
};
