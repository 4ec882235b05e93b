#include "platform/mappedfile.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#ifdef _WIN32

MapFileResult MapFileReadOnly(const char* path, const uint8_t*& data, uint64_t& size) {
    data = nullptr;
    size = 0;
    HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                              nullptr);
    if (file == INVALID_HANDLE_VALUE) return MapFileResult::OpenFailed;
    LARGE_INTEGER length;
    if (!GetFileSizeEx(file, &length)) {
        CloseHandle(file);
        return MapFileResult::MappingFailed;
    }
    size = uint64_t(length.QuadPart);
    if (size == 0) {
        CloseHandle(file);
        return MapFileResult::Mapped;
    }
    HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READONLY, DWORD(size >> 32), DWORD(size), nullptr);
    // The mapping keeps the file open, and the view keeps the mapping.
    CloseHandle(file);
    if (!mapping) return MapFileResult::MappingFailed;
    void* view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
    CloseHandle(mapping);
    if (!view) return MapFileResult::ViewFailed;
    data = static_cast<const uint8_t*>(view);
    return MapFileResult::Mapped;
}

void UnmapFile(const uint8_t* data, uint64_t) {
    if (data) UnmapViewOfFile(data);
}

#else

MapFileResult MapFileReadOnly(const char* path, const uint8_t*& data, uint64_t& size) {
    data = nullptr;
    size = 0;
    const int fd = open(path, O_RDONLY);
    if (fd < 0) return MapFileResult::OpenFailed;
    struct stat st;
    if (fstat(fd, &st) != 0) {
        close(fd);
        return MapFileResult::MappingFailed;
    }
    size = uint64_t(st.st_size);
    if (size == 0) {
        close(fd);
        return MapFileResult::Mapped;
    }
    void* view = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
    close(fd);  // the mapping keeps the file
    if (view == MAP_FAILED) return MapFileResult::ViewFailed;
    data = static_cast<const uint8_t*>(view);
    return MapFileResult::Mapped;
}

void UnmapFile(const uint8_t* data, uint64_t size) {
    if (data && size) munmap(const_cast<uint8_t*>(data), size);
}

#endif
