#include "search/tt.h"

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>

#include "board/fen.h"
#include "platform/memory.h"
#include "search/context.h"

uint8_t hashAge = 0;

TranspositionTable transpositionTable;

namespace {

// The words of a record are read and written as relaxed atomics: threads race on records by design.
uint64_t LoadWord(uint64_t& word) { return std::atomic_ref<uint64_t>(word).load(std::memory_order_relaxed); }
void StoreWord(uint64_t& word, uint64_t value) {
    std::atomic_ref<uint64_t>(word).store(value, std::memory_order_relaxed);
}
std::size_t RoundUp(std::size_t bytes, std::size_t unit) { return (bytes + unit - 1) & ~(unit - 1); }

// A table the machine cannot hold in memory and swap would fail at some later page of a search instead.
bool MachineCanBack(std::size_t bytes) {
    const uint64_t total = MemoryAndSwapBytes();
    return total == 0 || bytes <= total;
}

constexpr std::size_t HUGE_PAGE_BYTES = std::size_t(2) << 20;

// Zeroed pages that nothing has touched yet, or nullptr. The mapping is on 2 MB pages where the system
// offers them: each probe then finds its page in the processor's address cache, which 4 KB pages of more
// than a few MB overflow.
void* MapTable(std::size_t bytes) {
    if (!MachineCanBack(bytes)) return nullptr;
    return MapZeroedMemory(bytes);
}

// Handing gigabytes of touched pages back to the system takes seconds, so the front end does not wait for it.
void ReleaseTable(void* memory, std::size_t bytes) { UnmapMemory(memory, bytes); }

// ---- Layout

// The entry of a block that a thread is making live: its epoch is never current, so readers see the block
// as empty meanwhile.
constexpr uint64_t CLAIMING = ~uint64_t(0);
constexpr uint32_t LAST_EPOCH = ~uint32_t(0) - 1;

// A pooled table has a few thousand more slots than blocks: each block takes at most one slot an epoch, and
// slots go to threads in runs, at most one of them partly used per thread running at once (see ParkSlotRun).
constexpr uint64_t SLOT_RUN = 64;
constexpr uint64_t SPARE_SLOTS = 4096;
static_assert((MAX_THREADS + 1) * SLOT_RUN <= SPARE_SLOTS);

uint64_t LoadEntry(uint64_t& entry) { return std::atomic_ref<uint64_t>(entry).load(std::memory_order_acquire); }
void StoreEntry(uint64_t& entry, uint64_t value) {
    std::atomic_ref<uint64_t>(entry).store(value, std::memory_order_release);
}
uint64_t EntryOf(uint32_t epoch, uint64_t slot) { return uint64_t(epoch) << 32 | slot; }

// A pooled table's first search would otherwise meet fresh memory at every turn: the blocks' entries,
// touched at random, and the pool's first slots. A thread of its own writes to each of their 2 MB pages
// (by an atomic no-op, as searches may already be storing there) as soon as the table is mapped, and the
// first clear waits for it to finish: a GUI's "isready" before its first "go" then answers once the memory
// is backed, and the search does not wait for the system. The pool's share is about what one second of
// search on two threads takes.
constexpr std::size_t PREFAULTED_POOL_BYTES = std::size_t(128) << 20;
std::atomic<bool> prefaultStop{false};
std::atomic<bool> prefaultRunning{false};

struct Span {
    char* begin;
    std::size_t bytes;
};

void tPrefault(Span pool, Span entries) {
    for (const Span& span : {entries, pool})
        for (std::size_t at = 0; at < span.bytes && !prefaultStop.load(std::memory_order_relaxed);
             at += HUGE_PAGE_BYTES)
            std::atomic_ref<uint64_t>(*reinterpret_cast<uint64_t*>(span.begin + at)).fetch_or(0, std::memory_order_relaxed);
    prefaultRunning.store(false, std::memory_order_release);
    prefaultRunning.notify_all();
}

void AwaitPrefault() { prefaultRunning.wait(true, std::memory_order_acquire); }

// The helper must not outlive the mapping.
void StopPrefault() {
    prefaultStop = true;
    AwaitPrefault();
    prefaultStop = false;
}

// Moves the table to its next epoch. Epochs go on across allocations, so a slot run taken from an earlier
// table is never current. Four billion clears on, the counter starts again and the entries are emptied.
void NextEpoch(TranspositionTable& tt) {
    tt.slotsUsed = 0;
    if (tt.epoch < LAST_EPOCH) {
        ++tt.epoch;
        return;
    }
    tt.epoch = 1;
    StopPrefault();
    if (tt.blocks) memset(tt.blocks, 0, tt.blockCount * sizeof(uint64_t));
}

}  // namespace

void AllocateHashTableOfKind(uint64_t entries, int megabytes, bool pooled) {
    TranspositionTable& tt = transpositionTable;
    StopPrefault();
    ReleaseTable(tt.records, tt.mappedBytes);
    tt.records = nullptr;
    tt.blocks = nullptr;
    tt.entries = tt.blockCount = tt.slotCapacity = 0;
    tt.mappedBytes = 0;
    tt.pooled = pooled;
    NextEpoch(tt);
    // One mapping in two parts, each on 2 MB pages of its own: the lines (in place, every block's; pooled,
    // the slots'), then the blocks' entries, all 0: no block is live.
    const uint64_t lines = (entries + 4 + 3) / 4;
    const uint64_t blocks = (lines + BLOCK_LINES - 1) >> BLOCK_SHIFT;
    const uint64_t slots = pooled ? blocks + SPARE_SLOTS : blocks;
    const std::size_t linesBytes = RoundUp((slots << BLOCK_SHIFT) * 4 * sizeof(HashRecord), HUGE_PAGE_BYTES);
    const std::size_t bytes = linesBytes + blocks * sizeof(uint64_t);
    char* memory = entries ? static_cast<char*>(MapTable(bytes)) : nullptr;
    if (!memory) {
        printf("Hash Table Memory Allocation Failed!\n");
        fflush(stdout);
        return;
    }
    tt.mappedBytes = bytes;
    tt.records = reinterpret_cast<HashRecord*>(memory);
    tt.blocks = reinterpret_cast<uint64_t*>(memory + linesBytes);
    tt.blockCount = blocks;
    tt.slotCapacity = pooled ? slots : 0;
    tt.entries = entries;
    tt.sizeMB = megabytes;
    if (pooled) {
        prefaultRunning = true;
        try {
            std::thread(tPrefault, Span{memory, std::min(linesBytes, PREFAULTED_POOL_BYTES)},
                        Span{memory + linesBytes, blocks * sizeof(uint64_t)})
                .detach();
        } catch (const std::system_error&) {
            prefaultRunning = false;
        }
    }
    printf("Allocated %i MB for the Hash Table\n", megabytes);
    fflush(stdout);
}

void AllocateHashTable(uint64_t entries, int megabytes) {
    AllocateHashTableOfKind(entries, megabytes, entries * sizeof(HashRecord) > LARGEST_IN_PLACE_BYTES);
}

// ---- Lookup

namespace {

// The four records of a line whose block has the given entry.
[[gnu::always_inline]] inline HashRecord* LineIn(const TranspositionTable& tt, uint64_t entry, uint64_t line) {
    return tt.records + ((entry & 0xFFFFFFFF) << BLOCK_SHIFT | (line & (BLOCK_LINES - 1))) * 4;
}
// The four records of a line if its block is live in the current epoch, else nullptr: the line reads as
// empty.
[[gnu::always_inline]] inline HashRecord* LiveLine(TranspositionTable& tt, uint64_t line) {
    const uint64_t entry = LoadEntry(tt.blocks[line >> BLOCK_SHIFT]);
    return entry >> 32 == tt.epoch ? LineIn(tt, entry, line) : nullptr;
}

// The four records of the bucket at index, some of them null when their line reads as empty.
struct Bucket {
    HashRecord* record[4];
};

template <HashRecord* (*LineOf)(TranspositionTable&, uint64_t)>
Bucket BucketAt(TranspositionTable& tt, uint64_t index) {
    const uint64_t line = index >> 2;
    const unsigned offset = index & 3;
    HashRecord* first = LineOf(tt, line);
    HashRecord* second = offset ? LineOf(tt, line + 1) : nullptr;
    Bucket bucket;
    for (unsigned i = 0; i < 4; ++i) {
        const unsigned at = offset + i;
        HashRecord* base = at < 4 ? first : second;
        bucket.record[i] = base ? base + (at & 3) : nullptr;
    }
    return bucket;
}

}  // namespace

HashRecord ReadHashRecord(uint64_t i) {
    HashRecord* line = LiveLine(transpositionTable, i >> 2);
    if (!line) return {0, 0};
    HashRecord& record = line[i & 3];
    return {LoadWord(record.check), LoadWord(record.data)};
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

// ---- Probe

int16_t ProbeHashAt(const Position& pos, uint64_t& data, uint8_t depth, uint8_t ply, int16_t alpha, int16_t beta,
                    uint64_t index) {
    TranspositionTable& tt = transpositionTable;
    if (!tt.records) return HashMiss;
    const Bucket bucket = BucketAt<LiveLine>(tt, index);
    for (HashRecord* record : bucket.record) {
        uint64_t word = record ? LoadWord(record->data) : 0;
        if (((record ? LoadWord(record->check) : 0) ^ word) != pos.key) continue;
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

// ---- Store

namespace {

constexpr uint64_t NO_SLOT = ~uint64_t(0);

// A thread takes pool slots from the shared count a run at a time, so that threads rarely meet on it. A run
// is good for the epoch it was taken in.
struct SlotRun {
    uint64_t next = 0, end = 0;
    uint32_t epoch = 0;
};

// Search threads last one iteration. What is left of a thread's run when it ends is parked here, and the
// next thread to need slots in the same epoch takes it up before any fresh run, so no slot is lost with
// the thread: the partly used runs are never more than the threads that were running at once.
// Made on first use: MinGW's mutex is not a constant, and nothing may run before main.
std::mutex& ParkedMutex() {
    static std::mutex parkedMutex;
    return parkedMutex;
}
SlotRun parkedRuns[MAX_THREADS + 1];
int parkedCount = 0;

bool UnparkRun(SlotRun& run, uint32_t epoch) {
    std::lock_guard lock(ParkedMutex());
    while (parkedCount > 0) {
        run = parkedRuns[--parkedCount];
        if (run.epoch == epoch) return true;
    }
    return false;
}

// Parked by an explicit call, not by a thread-local destructor: in MinGW builds such a destructor runs on
// storage the thread has already freed, so it read a clobbered run and parked nothing.
thread_local SlotRun threadRun;

// The next pool slot for the calling thread, or NO_SLOT when the pool has run out.
uint64_t TakeSlot(TranspositionTable& tt) {
    SlotRun& run = threadRun;
    if (run.epoch != tt.epoch || run.next == run.end) {
        const bool firstInEpoch = run.epoch != tt.epoch;
        if (!firstInEpoch || !UnparkRun(run, tt.epoch)) {
            run.next = tt.slotsUsed.fetch_add(SLOT_RUN, std::memory_order_relaxed);
            run.end = run.next + SLOT_RUN;
            run.epoch = tt.epoch;
        }
    }
    return run.next < tt.slotCapacity ? run.next++ : NO_SLOT;
}

// The four records of a line, making its block live first when it is not; nullptr only when the pool has
// run out. Threads that find the block dead race to mark it claiming. The winner zeroes the block's lines
// and makes it live; the others wait the few nanoseconds that takes and then use the same lines. So a
// block is made live once an epoch, and no thread's zeroing wipes records another has stored.
HashRecord* ClaimLine(TranspositionTable& tt, uint64_t line) {
    const uint64_t block = line >> BLOCK_SHIFT;
    uint64_t& entry = tt.blocks[block];
    uint64_t seen = LoadEntry(entry);
    while (seen >> 32 != tt.epoch) {
        if (seen == CLAIMING) {
            std::this_thread::yield();
            seen = LoadEntry(entry);
            continue;
        }
        // On failure seen is reloaded: another thread claimed the block, or is claiming it.
        if (!std::atomic_ref<uint64_t>(entry).compare_exchange_strong(seen, CLAIMING, std::memory_order_acquire))
            continue;
        const uint64_t slot = tt.pooled ? TakeSlot(tt) : block;
        if (slot == NO_SLOT) {
            StoreEntry(entry, seen);
            return nullptr;
        }
        // No search thread looks at these lines: the block is claiming, and the slot's earlier block, if any,
        // was made live in an earlier epoch. Only the helper that faults pages in may touch them (by a no-op).
        for (HashRecord* record = tt.records + (slot << BLOCK_SHIFT) * 4, *end = record + BLOCK_LINES * 4;
             record < end; ++record) {
            StoreWord(record->data, 0);
            StoreWord(record->check, 0);
        }
        seen = EntryOf(tt.epoch, slot);
        StoreEntry(entry, seen);
    }
    return LineIn(tt, seen, line);
}

}  // namespace

void ParkSlotRun() {
    SlotRun& run = threadRun;
    const uint32_t epoch = transpositionTable.epoch;
    if (run.epoch != epoch || run.next >= run.end) return;
    {
        std::lock_guard lock(ParkedMutex());
        int kept = 0;
        for (int i = 0; i < parkedCount; ++i)
            if (parkedRuns[i].epoch == epoch) parkedRuns[kept++] = parkedRuns[i];
        parkedCount = kept;
        if (parkedCount < int(std::size(parkedRuns))) parkedRuns[parkedCount++] = run;
    }
    run = {};
}

void StoreHashAt(const Position& pos, uint8_t depth, uint8_t ply, int flags, int16_t score, Move move,
                 uint64_t index) {
    TranspositionTable& tt = transpositionTable;
    if (searchStop || iterationAbort || !tt.records) return;
    // Blocks that read as empty are made live (and zeroed) before the record is chosen.
    const Bucket bucket = BucketAt<ClaimLine>(tt, index);
    for (HashRecord* record : bucket.record)
        if (!record) return;

    int slot = -1;
    int oldest = -1;
    int oldestAge = 0;
    uint64_t words[4];
    for (int i = 0; i < 4; ++i) {
        words[i] = LoadWord(bucket.record[i]->data);
        uint64_t check = LoadWord(bucket.record[i]->check);
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
    StoreWord(bucket.record[slot]->data, data);
    StoreWord(bucket.record[slot]->check, pos.key ^ data);
}

void StoreHash(const Position& pos, uint8_t depth, uint8_t ply, int flags, int16_t score, Move move) {
    StoreHashAt(pos, depth, ply, flags, score, move, pos.key & (transpositionTable.entries - 1));
}

// ---- Clear

void ClearHashTable() {
    TranspositionTable& tt = transpositionTable;
    AwaitPrefault();
    if (tt.records) NextEpoch(tt);
}
