#include "configuration.h"

#include <stdexcept>

#include <zynkern/zynkern.h>

std::string ConfiguredSocket() {
    ZynString name;
    try {
        name = ZynProfile::CurrentConfig();
    } catch (const ZynNoDefaultConfigException&) {
        throw std::runtime_error("there is neither a SOCKET nor a configuration that has one");
    }
    ZynProfile configuration;
    configuration.OpenConfig(name, false);
    const ZynString socket = configuration.Find("RoadSocket", false);
    if (socket.IsNull())
        throw std::runtime_error(std::string("no RoadSocket in the configuration ") + name.C_str());
    return socket.C_str();
}
