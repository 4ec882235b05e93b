#include "search/tt.h"

#include <pthread.h>
#include <sys/mman.h>
#include <sys/sysinfo.h>

#include <algorithm>
#include <span>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/fen.h"
#include "search/search.h"

uint8_t hashAge = 0;

TranspositionTable transpositionTable;

namespace {

// The words of a record are read and written as relaxed atomics: threads race on records by design.
uint64_t LoadWord(uint64_t& word) { return std::atomic_ref<uint64_t>(word).load(std::memory_order_relaxed); }
void StoreWord(uint64_t& word, uint64_t value) {
    std::atomic_ref<uint64_t>(word).store(value, std::memory_order_relaxed);
}
uint8_t LoadEpoch(uint8_t& tag) { return std::atomic_ref<uint8_t>(tag).load(std::memory_order_acquire); }
void StoreEpoch(uint8_t& tag, uint8_t value) { std::atomic_ref<uint8_t>(tag).store(value, std::memory_order_release); }

// One mapping holds the records and, on the next page, the epochs of their lines.
std::size_t EpochOffset(uint64_t entries) {
    const std::size_t bytes = (entries + 4) * sizeof(HashRecord);
    return (bytes + 4095) & ~std::size_t(4095);
}
uint64_t LineCount(uint64_t entries) { return (entries + 4 + 3) / 4; }

// A table the machine cannot hold in memory and swap would fail at some later page of a search instead.
bool MachineCanBack(std::size_t bytes) {
    struct sysinfo info;
    if (sysinfo(&info) != 0) return true;
    const unsigned __int128 total = (unsigned __int128)(info.totalram + info.totalswap) * info.mem_unit;
    return bytes <= total;
}

// Tables up to this size go on 2 MB pages where the system offers them. Each probe then finds its page in
// the processor's address cache, which 4 KB pages of a table of more than a few MB overflow. A huge page is
// zeroed whole at its first touch, a few milliseconds on a slow machine; for a table this small that is
// a few dozen such stalls at most, over the first searches.
constexpr std::size_t HUGE_TABLE_BYTES = std::size_t(64) << 20;
constexpr std::size_t HUGE_PAGE_BYTES = std::size_t(2) << 20;

// Zeroed pages that nothing has touched yet, or nullptr. Huge pages need an aligned start, so the
// mapping is made that much larger and trimmed to the aligned part.
void* MapTable(std::size_t bytes, bool hugePages) {
    if (!MachineCanBack(bytes)) return nullptr;
    const std::size_t slack = hugePages ? HUGE_PAGE_BYTES : 0;
    const std::size_t span = (bytes + 4095) & ~std::size_t(4095);  // munmap takes whole pages
    void* mapped = mmap(nullptr, span + slack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    char* memory = static_cast<char*>(mapped);
    if (hugePages) {
        const uintptr_t at = reinterpret_cast<uintptr_t>(mapped);
        const std::size_t head = ((at + HUGE_PAGE_BYTES - 1) & ~(HUGE_PAGE_BYTES - 1)) - at;
        memory += head;
        if (head) munmap(mapped, head);
        if (slack - head) munmap(memory + span, slack - head);
        madvise(memory, bytes, MADV_HUGEPAGE);
    } else {
        // Small pages, made resident where the search writes and kept for the table's life. A huge page
        // would be zeroed whole at its first touch, 2 MB at a time in the middle of a search.
        madvise(memory, bytes, MADV_NOHUGEPAGE);
    }
    return memory;
}

struct Mapping {
    void* memory;
    std::size_t bytes;
};

void* tUnmap(void* arg) {
    Mapping* mapping = static_cast<Mapping*>(arg);
    munmap(mapping->memory, mapping->bytes);
    free(mapping);
    return nullptr;
}

// Handing gigabytes of touched pages back to the system takes seconds, so a table is released by a
// thread of its own and the front end can answer at once.
void ReleaseTable(void* memory, std::size_t bytes) {
    if (!memory) return;
    Mapping* mapping = static_cast<Mapping*>(malloc(sizeof(Mapping)));
    pthread_attr_t attributes;
    if (mapping && pthread_attr_init(&attributes) == 0) {
        *mapping = {memory, bytes};
        pthread_t thread;
        const bool started = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED) == 0 &&
                             pthread_create(&thread, &attributes, tUnmap, mapping) == 0;
        pthread_attr_destroy(&attributes);
        if (started) return;
    }
    free(mapping);
    munmap(memory, bytes);
}

// Which of the four records from index on lie in a line of an earlier epoch (bit i for record index + i).
// Stale records read as zero words, exactly like the records of a freshly zeroed table.
unsigned StaleRecords(TranspositionTable& tt, uint64_t index) {
    const uint64_t line = index >> 2;
    const unsigned firstLine = 0xFu >> (index & 3);  // records of the bucket in the first line
    unsigned stale = LoadEpoch(tt.lineEpochs[line]) != tt.epoch ? firstLine : 0;
    if ((index & 3) && LoadEpoch(tt.lineEpochs[line + 1]) != tt.epoch) stale |= 0xFu & ~firstLine;
    return stale;
}

}  // namespace

uint64_t HashEntriesForMB(int megabytes) {
    uint64_t bytes = megabytes < 4 ? uint64_t(1) << 24 : uint64_t(megabytes) << 20;
    uint64_t power = 1;
    while (power <= bytes) power <<= 1;
    return power / 32;
}

void AllocateHashTable(uint64_t entries, int megabytes) {
    TranspositionTable& tt = transpositionTable;
    ReleaseTable(tt.records, tt.mappedBytes);
    tt.records = nullptr;
    tt.lineEpochs = nullptr;
    tt.entries = 0;
    tt.lineCount = 0;
    tt.mappedBytes = 0;
    tt.epoch = 0;
    tt.sweepCursor = 0;
    tt.written = 0;
    const std::size_t bytes = EpochOffset(entries) + LineCount(entries);
    void* memory = entries ? MapTable(bytes, entries * sizeof(HashRecord) <= HUGE_TABLE_BYTES) : nullptr;
    if (!memory) {
        printf("Hash Table Memory Allocation Failed!\n");
        fflush(stdout);
        return;
    }
    // Every line starts out zeroed and stamped with epoch 0, the current one.
    tt.records = static_cast<HashRecord*>(memory);
    tt.lineEpochs = static_cast<uint8_t*>(memory) + EpochOffset(entries);
    tt.lineCount = LineCount(entries);
    tt.entries = entries;
    tt.sizeMB = megabytes;
    tt.mappedBytes = bytes;
    printf("Allocated %i MB for the Hash Table\n", megabytes);
    fflush(stdout);
}

void ClearHashTable() {
    TranspositionTable& tt = transpositionTable;
    if (!tt.records || !tt.written) return;
    // Epochs run 1..255. A line last stamped with epoch e would come back to life when the epoch returns
    // to e, 255 clears later; each clear resets a 1/254 share of the stamps to 0 (never current), so every
    // stamp is reset before its epoch comes round again.
    tt.epoch = tt.epoch == 255 ? 1 : uint8_t(tt.epoch + 1);
    const uint64_t share = (tt.lineCount + 253) / 254;
    const uint64_t count = std::min(share, tt.lineCount - tt.sweepCursor);
    memset(tt.lineEpochs + tt.sweepCursor, 0, count);
    tt.sweepCursor = tt.sweepCursor + count >= tt.lineCount ? 0 : tt.sweepCursor + count;
    tt.written = 0;
}

HashRecord ReadHashRecord(uint64_t i) {
    TranspositionTable& tt = transpositionTable;
    if (LoadEpoch(tt.lineEpochs[i >> 2]) != tt.epoch) return {0, 0};
    return {LoadWord(tt.records[i].check), LoadWord(tt.records[i].data)};
}

void DumpHashTable() {
    FILE* file = fopen("DumpHash/dump.csv", "w");
    if (!file) {
        printf("File non trovato\n");
        fflush(stdout);
        return;
    }
    TranspositionTable& tt = transpositionTable;
    const int side = int(mainContext.current->side);
    char text[MOVE_TEXT_SIZE];
    fputs("Key;Score;Depth;Age;Best;Flags;\n", file);
    for (uint64_t i = 0; i < tt.entries; ++i) {
        const HashRecord record = ReadHashRecord(i);
        const uint64_t check = record.check, data = record.data;
        MoveToText(text, HashBest(data), side);
        fprintf(file, "%" PRIu64 ";%i;%i;%i;%s;%i;\n", check, HashScore(data), HashDepth(data), HashAge(data), text,
                HashFlags(data));
    }
    printf("Tot: %i\n", int(tt.entries));
    fflush(stdout);
    fclose(file);
}

int16_t ProbeHashAt(const Position& pos, uint64_t& data, uint8_t depth, uint8_t ply, int16_t alpha, int16_t beta,
                    uint64_t index) {
    TranspositionTable& tt = transpositionTable;
    if (!tt.records) return HashMiss;
    HashRecord* bucket = tt.records + index;
    const unsigned stale = StaleRecords(tt, index);
    for (int i = 0; i < 4; ++i) {
        const bool live = !(stale >> i & 1);
        uint64_t word = live ? LoadWord(bucket[i].data) : 0;
        if (((live ? LoadWord(bucket[i].check) : 0) ^ word) != pos.key) continue;
        data = word;
        if (HashDepth(word) < depth) return HashNoCut;
        int score = HashScore(word);
        if (score > MATE_BOUND) score -= ply;
        else if (score < -MATE_BOUND) score += ply;
        switch (HashFlags(word)) {
        case BoundExact: return int16_t(score);
        case BoundUpper: return score <= alpha ? int16_t(score) : HashNoCut;
        case BoundLower:
            if (score >= beta) return int16_t(score);
            return score <= alpha ? int16_t(score) : HashNoCut;
        default: return HashNoCut;
        }
    }
    return HashMiss;
}

int16_t ProbeHash(const Position& pos, uint64_t& data, uint8_t depth, uint8_t ply, int16_t alpha, int16_t beta) {
    return ProbeHashAt(pos, data, depth, ply, alpha, beta, pos.key & (transpositionTable.entries - 1));
}

void StoreHashAt(const Position& pos, uint8_t depth, uint8_t ply, int flags, int16_t score, Move move,
                 uint64_t index) {
    TranspositionTable& tt = transpositionTable;
    if (searchStop || iterationAbort || !tt.records) return;
    HashRecord* bucket = tt.records + index;
    // Lines of an earlier epoch are zeroed and stamped before the slot is chosen. Two threads doing this
    // at once may lose a store, as two threads storing into one record may.
    if (StaleRecords(tt, index)) {
        for (uint64_t line = index >> 2; line <= (index + 3) >> 2; ++line) {
            if (LoadEpoch(tt.lineEpochs[line]) == tt.epoch) continue;
            for (HashRecord& record : std::span(tt.records + line * 4, 4)) {
                StoreWord(record.data, 0);
                StoreWord(record.check, 0);
            }
            StoreEpoch(tt.lineEpochs[line], tt.epoch);
        }
    }

    int slot = -1;
    int oldest = -1;
    int oldestAge = 0;
    uint64_t words[4];
    for (int i = 0; i < 4; ++i) {
        words[i] = LoadWord(bucket[i].data);
        uint64_t check = LoadWord(bucket[i].check);
        if (check == 0 || (check ^ words[i]) == pos.key) {
            slot = i;
            break;
        }
        int age = HashAge(words[i]);
        if (age != hashAge && (oldest < 0 || age < oldestAge)) {
            oldest = i;
            oldestAge = age;
        }
    }

    if (slot >= 0) {
        // The same position (or a free record) keeps its earlier best move when this search found none.
        if (move == 0) move = HashBest(words[slot]);
    } else if (oldest >= 0) {
        slot = oldest;
    } else {
        slot = 0;
        for (int i = 1; i < 4; ++i)
            if (HashDepth(words[i]) < HashDepth(words[slot])) slot = i;
    }

    int stored = score;
    if (stored > MATE_BOUND) stored += ply;
    else if (stored < -MATE_BOUND) stored -= ply;

    uint64_t data = uint64_t(depth & 63) | uint64_t(flags & 3) << 6 | uint64_t(hashAge) << 8 |
                    uint64_t(uint16_t(stored)) << 16 | uint64_t(move) << 32;
    StoreWord(bucket[slot].data, data);
    StoreWord(bucket[slot].check, pos.key ^ data);
    if (!tt.written) tt.written = 1;
}

void StoreHash(const Position& pos, uint8_t depth, uint8_t ply, int flags, int16_t score, Move move) {
    StoreHashAt(pos, depth, ply, flags, score, move, pos.key & (transpositionTable.entries - 1));
}
