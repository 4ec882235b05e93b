#include <cstring>

#include "platform/clock.h"
#include "platform/mappedfile.h"
#include "platform/memory.h"
#include "support.h"

// A mapped file shows every byte of the file at its place and its whole 64-bit length; an empty file and a
// missing one are told apart from a mapping.
TEST(Platform, MappedFiles) {
    ScratchDir dir("mapped");
    std::string bytes(3 * 65536 + 17, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = char(i * 7 + i / 251);
    bytes[0] = '\r';
    bytes[1] = '\n';  // no text-mode translation on the way
    const fs::path file = dir.Write("table.bin", bytes);

    const uint8_t* data = nullptr;
    uint64_t size = 0;
    ASSERT_EQ(MapFileReadOnly(file.string().c_str(), data, size), MapFileResult::Mapped);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(size, bytes.size());
    EXPECT_EQ(std::memcmp(data, bytes.data(), bytes.size()), 0);
    // The mapping outlives the file handle it was made from: another mapping of the file sees the same.
    const uint8_t* again = nullptr;
    uint64_t againSize = 0;
    ASSERT_EQ(MapFileReadOnly(file.string().c_str(), again, againSize), MapFileResult::Mapped);
    EXPECT_EQ(std::memcmp(again, data, size), 0);
    UnmapFile(again, againSize);
    UnmapFile(data, size);

    data = reinterpret_cast<const uint8_t*>(&size);
    size = 99;
    EXPECT_EQ(MapFileReadOnly(dir.Write("empty.bin", "").string().c_str(), data, size), MapFileResult::Mapped);
    EXPECT_TRUE(data == nullptr && size == 0);
    UnmapFile(data, size);
    EXPECT_EQ(MapFileReadOnly((dir.path / "missing.bin").string().c_str(), data, size), MapFileResult::OpenFailed);
}

// Table memory comes zeroed, on a 2 MB boundary, writable to its last byte, and can be handed back at once
// and taken again.
TEST(Platform, ZeroedMemory) {
    EXPECT_GT(MemoryAndSwapBytes(), uint64_t(64) << 20);
    for (std::size_t bytes : {std::size_t(1), (std::size_t(5) << 20) + 12345, std::size_t(64) << 20}) {
        auto* memory = static_cast<uint8_t*>(MapZeroedMemory(bytes));
        ASSERT_NE(memory, nullptr) << bytes;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % (std::size_t(2) << 20), 0u);
        bool zero = true;
        for (std::size_t i = 0; i < bytes; i += 997) zero = zero && memory[i] == 0;
        EXPECT_TRUE(zero && memory[bytes - 1] == 0) << bytes;
        std::memset(memory, 0xa5, bytes);
        UnmapMemory(memory, bytes);
    }
    EXPECT_EQ(MapZeroedMemory(0), nullptr);
}

// The wall clock runs on while the thread sleeps; the processor clock does not.
TEST(Platform, Clocks) {
    const int64_t wall = WallClockMs(), processor = ProcessorClockMs();
    EXPECT_GT(wall, int64_t(1600000000) * 1000);  // milliseconds since 1970, after 2020
    SleepMs(50);
    const int64_t slept = WallClockMs() - wall;
    EXPECT_GE(slept, 45);
    EXPECT_LT(slept, 5000);
    EXPECT_LT(ProcessorClockMs() - processor, 40);
}
