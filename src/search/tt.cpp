#include "search/tt.h"

uint8_t hashAge = 0;
