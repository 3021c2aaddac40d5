// A descriptor that is closed unless it is kept.
#pragma once

#include <utility>

#include <unistd.h>

namespace zynkplat {

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : _descriptor(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (_descriptor >= 0)
            close(_descriptor);
    }
    int Get() const { return _descriptor; }
    int Keep() { return std::exchange(_descriptor, -1); }

  private:
    int _descriptor;
};

} // namespace zynkplat
