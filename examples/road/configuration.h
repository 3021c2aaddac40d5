// What the programs of the road take from the configuration they run under.
#pragma once

#include <string>

/// Where client and server meet: the value "RoadSocket". std::runtime_error if there is none.
std::string ConfiguredSocket();
