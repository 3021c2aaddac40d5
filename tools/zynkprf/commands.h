// What the commands do. Each answers the status of the process; failures raise std::exception,
// and Missing if a value or configuration is not there.
#pragma once

#include "options.h"

constexpr int Done = 0;
constexpr int NotThere = 1;

/// @name Values
/// @{
int ListValues(const Options& options);
int GetValue(const Options& options);
int SetValue(const Options& options);
int EraseValues(const Options& options);
/// @}

/// @name Configurations
/// @{
int Initialize(const Options& options);
int ListConfigs(const Options& options);
int CreateConfig(const Options& options);
int RemoveConfig(const Options& options);
int UseConfig(const Options& options);
/// @}

/// @name The whole
/// @{
int ExportStore(const Options& options);
int ImportStore(const Options& options);
/// @}
