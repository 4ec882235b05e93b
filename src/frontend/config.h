// The settings file: read once into the settings record, which front-end commands change later.
#pragma once

#include "settings/settings.h"

// The largest transposition table, in megabytes, that the settings and the console's "memory" accept.
constexpr int MAX_HASH_MB = 8192;

// Reads every key of the settings file (a missing file or key gives the defaults), replaces values outside
// their ranges by fixed fallbacks, derives the table sizes and fills the tuning fields of timeControl.
void LoadSettings(const char* Filename);
