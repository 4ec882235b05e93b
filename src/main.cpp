#include "frontend/startup.h"

#ifdef FERROLUNE_CPU_DISPATCH
// The portable x86-64 executable holds the engine three times: the baseline copy under its own names and the
// x86-64-v2 and x86-64-v3 copies with every symbol renamed by the build (a suffix naming the level). This
// file is compiled for the baseline, and nothing of the higher copies runs before main, so any CPU gets as
// far as the check.
#define FERROLUNE_TEXT(x) #x
#define FERROLUNE_LABEL(prefix, name) FERROLUNE_TEXT(prefix) name
#define FERROLUNE_COPY(suffix) __asm__(FERROLUNE_LABEL(__USER_LABEL_PREFIX__, "_Z9RunEngineiPPc" suffix))

int RunEngineV2(int argc, char** argv) FERROLUNE_COPY(".x86_64_v2");
int RunEngineV3(int argc, char** argv) FERROLUNE_COPY(".x86_64_v3");

int main(int argc, char** argv) {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("x86-64-v3")) return RunEngineV3(argc, argv);
    if (__builtin_cpu_supports("x86-64-v2")) return RunEngineV2(argc, argv);
    return RunEngine(argc, argv);
}
#else
int main(int argc, char** argv) { return RunEngine(argc, argv); }
#endif
