#include "platform/input.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>

#include <cerrno>
#endif

#ifdef _WIN32

// The handle itself rather than the runtime's descriptor 0: no text-mode translation, and a closed pipe ends
// the input like the end of a file.
std::size_t ReadStandardInput(char* buffer, std::size_t size) {
    DWORD read = 0;
    const DWORD wanted = size > 1u << 30 ? DWORD(1) << 30 : DWORD(size);
    if (!ReadFile(GetStdHandle(STD_INPUT_HANDLE), buffer, wanted, &read, nullptr)) return 0;
    return read;
}

#else

std::size_t ReadStandardInput(char* buffer, std::size_t size) {
    for (;;) {
        const ssize_t n = read(0, buffer, size);
        if (n >= 0) return std::size_t(n);
        if (errno != EINTR) return 0;
    }
}

#endif
