#include "search/context.h"

constinit SearchThread mainContext{};

uint32_t ProtocolMode = MODE_CONSOLE;
Relaxed<uint32_t> searchStop;
Relaxed<uint32_t> iterationAbort;
Relaxed<uint32_t> pondering;
Relaxed<uint32_t> infiniteSearch;
Relaxed<uint32_t> ponderEnabled;
