#include "search/search.h"

SearchThread mainContext;

Relaxed<uint32_t> searchStop;
Relaxed<uint32_t> iterationAbort;
Relaxed<uint64_t> nodeCount;
