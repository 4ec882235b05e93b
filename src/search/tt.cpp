#include "search/tt.h"

#include <pthread.h>
#include <sys/mman.h>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/fen.h"
#include "frontend/config.h"
#include "search/search.h"

uint8_t hashAge = 0;

TranspositionTable transpositionTable;

namespace {

constexpr int MAX_HASH_MB = 8192;

// The table lives in anonymous mapped memory: fresh pages read as zero without being touched, so neither
// mapping nor clearing an unused table costs time or resident memory. The words of a record are read and
// written as relaxed atomics: threads race on records by design.
uint64_t LoadWord(uint64_t& word) { return std::atomic_ref<uint64_t>(word).load(std::memory_order_relaxed); }
void StoreWord(uint64_t& word, uint64_t value) {
    std::atomic_ref<uint64_t>(word).store(value, std::memory_order_relaxed);
}

// Zeroed pages that nothing has touched yet, or nullptr.
HashRecord* MapRecords(std::size_t bytes) {
    void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) return nullptr;
    // Small pages: a fresh table is touched at random, and each first touch of a large page would zero
    // 2 MB, which fills gigabytes in the first seconds of a search.
    madvise(memory, bytes, MADV_NOHUGEPAGE);
    return static_cast<HashRecord*>(memory);
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

// Handing gigabytes of touched pages back to the system takes seconds, so a used table is released by a
// thread of its own and the front end can answer at once.
void ReleaseRecords(HashRecord* records, std::size_t bytes, bool used) {
    if (!records) return;
    Mapping* mapping = used ? static_cast<Mapping*>(malloc(sizeof(Mapping))) : nullptr;
    pthread_attr_t attributes;
    if (mapping && pthread_attr_init(&attributes) == 0) {
        *mapping = {records, bytes};
        pthread_t thread;
        const bool started = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED) == 0 &&
                             pthread_create(&thread, &attributes, tUnmap, mapping) == 0;
        pthread_attr_destroy(&attributes);
        if (started) return;
    }
    free(mapping);
    munmap(records, bytes);
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
    ReleaseRecords(tt.records, tt.mappedBytes, tt.written);
    tt.records = nullptr;
    tt.entries = 0;
    tt.mappedBytes = 0;
    tt.written = 0;
    const std::size_t bytes = (entries + 4) * sizeof(HashRecord);
    HashRecord* records = entries ? MapRecords(bytes) : nullptr;
    if (!records) {
        printf("Hash Table Memory Allocation Failed!\n");
        fflush(stdout);
        return;
    }
    tt.records = records;
    tt.entries = entries;
    tt.sizeMB = megabytes;
    tt.mappedBytes = bytes;
    printf("Allocated %i MB for the Hash Table\n", megabytes);
    fflush(stdout);
}

void ClearHashTable() {
    TranspositionTable& tt = transpositionTable;
    if (!tt.records || !tt.written) return;
    // Fresh pages instead of writing gigabytes of zeros; the old ones go back to the system meanwhile.
    if (HashRecord* fresh = MapRecords(tt.mappedBytes)) {
        ReleaseRecords(tt.records, tt.mappedBytes, true);
        tt.records = fresh;
    } else if (madvise(tt.records, tt.mappedBytes, MADV_DONTNEED) != 0) {
        memset(tt.records, 0, tt.mappedBytes);
    }
    tt.written = 0;
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
        uint64_t check = LoadWord(tt.records[i].check), data = LoadWord(tt.records[i].data);
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
    for (int i = 0; i < 4; ++i) {
        uint64_t word = LoadWord(bucket[i].data);
        if ((LoadWord(bucket[i].check) ^ word) != pos.key) continue;
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

void PrintHashRecordSize() {
    printf("Hash record size: %2" PRIu64 " byte  (%3" PRIu64 " bit)\n", uint64_t(sizeof(HashRecord)),
           uint64_t(sizeof(HashRecord) * 8));
    printf("Hash Data   size: %2" PRIu64 " byte  (%3" PRIu64 " bit)\n", uint64_t(sizeof(uint64_t)),
           uint64_t(sizeof(uint64_t) * 8));
    fflush(stdout);
}

void StoreTestRecord(const Position& pos, int number) {
    hashAge = uint8_t(number);
    StoreHashAt(pos, 1, 1, BoundExact, 100, 0, transpositionTable.entries - 1);
    printf("Stored with aging: %u\n", unsigned(hashAge));
    fflush(stdout);
}

void ProbeTestRecord(const Position& pos) {
    uint64_t data = 0;
    int16_t result = ProbeHashAt(pos, data, 1, 1, 20, 200, transpositionTable.entries - 1);
    fputs(result == HashMiss ? "Hash Probe KO" : "Hash Probe OK", stdout);
    fflush(stdout);
}

void ResizeHashTable(int megabytes) {
    if (megabytes < 1 || megabytes > MAX_HASH_MB) {
        printf("Error: insert a number between 4 and %d \n", MAX_HASH_MB);
        printf("tellusererror Error (size out of bound): Insert size between 4 and %d\n", MAX_HASH_MB);
        fflush(stdout);
        return;
    }
    settings.hashSizeMB = megabytes;
    settings.hashEntries = HashEntriesForMB(megabytes);
    AllocateHashTable(settings.hashEntries, megabytes);
}
