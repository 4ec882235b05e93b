#include "platform/memory.h"

#include <system_error>
#include <thread>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>
#if defined(__linux__)
#include <sys/sysinfo.h>
#endif
#endif

namespace {

constexpr std::size_t ALIGNMENT = std::size_t(2) << 20;

std::size_t RoundUp(std::size_t bytes, std::size_t unit) { return (bytes + unit - 1) / unit * unit; }

#ifdef _WIN32

// Large pages need the "Lock pages in memory" right, which an administrator grants per user; the process
// must still switch it on. They are committed at once, not lazily, but each probe then finds its page in
// the processor's address cache.
void* MapLargePages(std::size_t bytes) {
    const std::size_t large = GetLargePageMinimum();
    if (large == 0) return nullptr;
    HANDLE token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) return nullptr;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    void* memory = nullptr;
    // AdjustTokenPrivileges succeeds without granting anything; only the last error tells.
    if (LookupPrivilegeValueA(nullptr, "SeLockMemoryPrivilege", &privileges.Privileges[0].Luid) &&
        AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr) && GetLastError() == ERROR_SUCCESS) {
        memory = VirtualAlloc(nullptr, RoundUp(bytes, large), MEM_RESERVE | MEM_COMMIT | MEM_LARGE_PAGES,
                              PAGE_READWRITE);
        privileges.Privileges[0].Attributes = 0;
        AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
    }
    CloseHandle(token);
    return memory;
}

// VirtualAlloc places memory on 64 KB boundaries only: find a free aligned address by reserving more, and
// take it. Another thread may take the address in between, hence the retries.
void* MapAligned(std::size_t bytes) {
    for (int attempt = 0; attempt < 8; ++attempt) {
        void* probe = VirtualAlloc(nullptr, bytes + ALIGNMENT, MEM_RESERVE, PAGE_NOACCESS);
        if (!probe) return nullptr;
        const uintptr_t aligned = RoundUp(reinterpret_cast<uintptr_t>(probe), ALIGNMENT);
        VirtualFree(probe, 0, MEM_RELEASE);
        if (void* memory = VirtualAlloc(reinterpret_cast<void*>(aligned), bytes, MEM_RESERVE | MEM_COMMIT,
                                        PAGE_READWRITE))
            return memory;
    }
    return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void Release(void* memory, std::size_t) { VirtualFree(memory, 0, MEM_RELEASE); }

#else

void Release(void* memory, std::size_t bytes) { munmap(memory, bytes); }

#endif

}  // namespace

#ifdef _WIN32

void* MapZeroedMemory(std::size_t bytes) {
    if (bytes == 0) return nullptr;
    if (void* memory = MapLargePages(bytes)) return memory;
    return MapAligned(bytes);
}

uint64_t MemoryAndSwapBytes() {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    // The commit limit: physical memory and the page file together.
    return GlobalMemoryStatusEx(&status) ? uint64_t(status.ullTotalPageFile) : 0;
}

#else

// The mapping is made larger by the alignment and trimmed to its aligned part, as huge pages need an aligned
// start.
void* MapZeroedMemory(std::size_t bytes) {
    if (bytes == 0) return nullptr;
    const std::size_t span = RoundUp(bytes, 4096);  // munmap takes whole pages
    void* mapped = mmap(nullptr, span + ALIGNMENT, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    char* memory = static_cast<char*>(mapped);
    const uintptr_t at = reinterpret_cast<uintptr_t>(mapped);
    const std::size_t head = RoundUp(at, ALIGNMENT) - at;
    memory += head;
    if (head) munmap(mapped, head);
    if (ALIGNMENT - head) munmap(memory + span, ALIGNMENT - head);
#ifdef MADV_HUGEPAGE
    madvise(memory, bytes, MADV_HUGEPAGE);
#endif
    return memory;
}

uint64_t MemoryAndSwapBytes() {
#if defined(__linux__)
    struct sysinfo info;
    if (sysinfo(&info) != 0) return 0;
    const unsigned __int128 total = (unsigned __int128)(info.totalram + info.totalswap) * info.mem_unit;
    return total > UINT64_MAX ? UINT64_MAX : uint64_t(total);
#else
    return 0;
#endif
}

#endif

// Handing gigabytes of touched pages back to the system takes seconds, so the memory is released by a
// thread of its own; when none can be started, here and now.
void UnmapMemory(void* memory, std::size_t bytes) {
    if (!memory) return;
    try {
        std::thread(Release, memory, bytes).detach();
    } catch (const std::system_error&) {
        Release(memory, bytes);
    }
}
