#include "search/timeman.h"

// The settings load fills the tuning values and the 720000 defaults before any search.
TimeControl timeControl{20, 5, 5, 5, 15, 720000, 0, 0, 720000, 0, 720000, 0, 0};
