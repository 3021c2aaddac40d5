// The text file that an order is written in.
#pragma once

#include <filesystem>

#include "order.h"

/// Reads lines of `key = value`. A name of an attachment counts from the folder of the file.
/// Throws std::runtime_error with the file, the line and what is wrong with it.
WorkOrder ReadOrderFile(const std::filesystem::path& path);
