#include "search/iterate.h"

Move lastPonderMove;
Relaxed<uint32_t> ponderEnabled;
