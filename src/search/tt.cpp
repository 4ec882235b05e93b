#include "search/tt.h"

#include <algorithm>
#include <span>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/fen.h"
#include "platform/memory.h"
#include "search/search.h"

uint8_t hashAge = 0;

TranspositionTable transpositionTable;

namespace {

// The words of a record are read and written as relaxed atomics: threads race on records by design.
uint64_t LoadWord(uint64_t& word) { return std::atomic_ref<uint64_t>(word).load(std::memory_order_relaxed); }
void StoreWord(uint64_t& word, uint64_t value) {
    std::atomic_ref<uint64_t>(word).store(value, std::memory_order_relaxed);
}
std::size_t RoundUp(std::size_t bytes, std::size_t unit) { return (bytes + unit - 1) & ~(unit - 1); }
uint64_t LineCount(uint64_t entries) { return (entries + 4 + 3) / 4; }

// A pooled table has room for a few thousand more slots than blocks: each thread leaves part of its last run
// of slots unused, two threads giving one block a slot at once waste one, and a pool that runs out drops
// stores until the next clear.
constexpr uint64_t SLOT_RUN = 64;
constexpr uint64_t SPARE_SLOTS = 4096;

// A thread's run of slots, good for the generation it was taken in.
struct SlotRun {
    uint64_t next = 0, end = 0;
    uint32_t generation = 0;
};
// Generations go on across allocations, so a run taken from an earlier table is never current.
uint32_t lastGeneration = 0;
// The next generation, never 0, the generation of a zeroed owner. wrapped tells that it came round to 1.
uint32_t NextGeneration(bool& wrapped) {
    wrapped = ++lastGeneration == 0;
    if (wrapped) lastGeneration = 1;
    return lastGeneration;
}

// A table the machine cannot hold in memory and swap would fail at some later page of a search instead.
bool MachineCanBack(std::size_t bytes) {
    const uint64_t total = MemoryAndSwapBytes();
    return total == 0 || bytes <= total;
}

// Tables up to this size keep their lines in place; larger ones pool them.
constexpr std::size_t POOLED_TABLE_BYTES = std::size_t(64) << 20;
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

uint8_t LoadEpoch(uint8_t& tag) { return std::atomic_ref<uint8_t>(tag).load(std::memory_order_acquire); }
void StoreEpoch(uint8_t& tag, uint8_t value) { std::atomic_ref<uint8_t>(tag).store(value, std::memory_order_release); }
uint32_t LoadSlot(uint32_t& slot) { return std::atomic_ref<uint32_t>(slot).load(std::memory_order_relaxed); }
uint64_t LoadOwner(uint64_t& owner) { return std::atomic_ref<uint64_t>(owner).load(std::memory_order_acquire); }
void StoreOwner(uint64_t& owner, uint64_t value) {
    std::atomic_ref<uint64_t>(owner).store(value, std::memory_order_release);
}

void ZeroLines(HashRecord* lines, unsigned count) {
    for (HashRecord& record : std::span(lines, count * 4)) {
        StoreWord(record.data, 0);
        StoreWord(record.check, 0);
    }
}

uint64_t OwnerWord(const TranspositionTable& tt, uint64_t block) { return block | uint64_t(tt.generation) << 32; }

// The four records of a line if it is live in the current epoch, else nullptr: the line reads as empty.
[[gnu::always_inline]] inline HashRecord* PooledLine(TranspositionTable& tt, uint64_t line) {
    const uint64_t block = line >> POOL_BLOCK_SHIFT;
    const uint64_t slot = LoadSlot(tt.blockSlots[block]);
    if (LoadOwner(tt.slotOwners[slot]) != OwnerWord(tt, block)) return nullptr;
    return tt.records + (slot << POOL_BLOCK_SHIFT | (line & POOL_BLOCK_MASK)) * 4;
}
[[gnu::always_inline]] inline HashRecord* InPlaceLine(TranspositionTable& tt, uint64_t line) {
    return LoadEpoch(tt.lineEpochs[line]) == tt.epoch ? tt.records + line * 4 : nullptr;
}
HashRecord* LiveLine(TranspositionTable& tt, uint64_t line) {
    return tt.blockSlots ? PooledLine(tt, line) : InPlaceLine(tt, line);
}

// The same, making the line live and empty first when it is not; nullptr only when the pool has run out.
// Two threads making one line live at once may lose a store, as two threads storing into one record may.
[[gnu::always_inline]] inline HashRecord* ClaimInPlaceLine(TranspositionTable& tt, uint64_t line) {
    HashRecord* records = tt.records + line * 4;
    if (LoadEpoch(tt.lineEpochs[line]) != tt.epoch) {
        ZeroLines(records, 1);
        StoreEpoch(tt.lineEpochs[line], tt.epoch);
    }
    return records;
}
HashRecord* ClaimPooledLine(TranspositionTable& tt, uint64_t line) {
    if (HashRecord* live = PooledLine(tt, line)) return live;
    const uint64_t block = line >> POOL_BLOCK_SHIFT;
    // Threads take slots from the shared count a run at a time, so that they rarely meet on it.
    thread_local SlotRun run;
    if (run.generation != tt.generation || run.next == run.end) {
        run.next = tt.slotsUsed.fetch_add(SLOT_RUN, std::memory_order_relaxed);
        run.end = run.next + SLOT_RUN;
        run.generation = tt.generation;
    }
    const uint64_t slot = run.next++;
    if (slot >= tt.slotCapacity) return nullptr;
    ZeroLines(tt.records + (slot << POOL_BLOCK_SHIFT) * 4, 1u << POOL_BLOCK_SHIFT);
    StoreOwner(tt.slotOwners[slot], OwnerWord(tt, block));
    uint32_t previous = LoadSlot(tt.blockSlots[block]);
    // A thread that gave the block a slot first wins; this slot is left unused.
    std::atomic_ref<uint32_t>(tt.blockSlots[block]).compare_exchange_strong(previous, uint32_t(slot),
                                                                             std::memory_order_relaxed);
    return PooledLine(tt, line);
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

void AllocateHashTable(uint64_t entries, int megabytes) {
    TranspositionTable& tt = transpositionTable;
    ReleaseTable(tt.records, tt.mappedBytes);
    tt.records = nullptr;
    tt.lineEpochs = nullptr;
    tt.blockSlots = nullptr;
    tt.slotOwners = nullptr;
    tt.entries = tt.lineCount = tt.slotCapacity = tt.sweepCursor = 0;
    tt.mappedBytes = 0;
    tt.epoch = 0;
    bool wrapped;
    tt.generation = NextGeneration(wrapped);
    tt.slotsUsed = 0;
    tt.written = 0;
    // One mapping, in parts on their own 2 MB pages. In place: the lines, then their epochs (all 0, the
    // current one). Pooled: the pool of slots, the slots' owners, the blocks' slots.
    const uint64_t lines = LineCount(entries);
    const bool pooled = entries * sizeof(HashRecord) > POOLED_TABLE_BYTES;
    const uint64_t blocks = (lines + POOL_BLOCK_MASK) >> POOL_BLOCK_SHIFT;
    const uint64_t slots = pooled ? blocks + SPARE_SLOTS : 0;
    const std::size_t linesBytes =
        RoundUp((pooled ? slots << POOL_BLOCK_SHIFT : lines) * 4 * sizeof(HashRecord), HUGE_PAGE_BYTES);
    const std::size_t ownersBytes = RoundUp(slots * sizeof(uint64_t), HUGE_PAGE_BYTES);
    const std::size_t bytes = linesBytes + ownersBytes + (pooled ? blocks * sizeof(uint32_t) : lines);
    char* memory = entries ? static_cast<char*>(MapTable(bytes)) : nullptr;
    if (!memory) {
        printf("Hash Table Memory Allocation Failed!\n");
        fflush(stdout);
        return;
    }
    tt.mappedBytes = bytes;
    tt.records = reinterpret_cast<HashRecord*>(memory);
    if (pooled) {
        tt.slotOwners = reinterpret_cast<uint64_t*>(memory + linesBytes);
        tt.blockSlots = reinterpret_cast<uint32_t*>(memory + linesBytes + ownersBytes);
        tt.slotCapacity = slots;
    } else {
        tt.lineEpochs = reinterpret_cast<uint8_t*>(memory + linesBytes);
    }
    tt.lineCount = lines;
    tt.entries = entries;
    tt.sizeMB = megabytes;
    printf("Allocated %i MB for the Hash Table\n", megabytes);
    fflush(stdout);
}

void ClearHashTable() {
    TranspositionTable& tt = transpositionTable;
    if (!tt.records || !tt.written) return;
    tt.written = 0;
    if (tt.blockSlots) {
        tt.slotsUsed = 0;
        bool wrapped;
        tt.generation = NextGeneration(wrapped);
        // Four billion clears on, owners from the first generations could look current again.
        if (wrapped) memset(tt.slotOwners, 0, tt.slotCapacity * sizeof(uint64_t));
        return;
    }
    // Epochs run 1..255. A line last stamped with epoch e would come back to life when the epoch returns
    // to e, 255 clears later; each clear resets a 1/254 share of the stamps to 0 (never current), so every
    // stamp is reset before its epoch comes round again.
    tt.epoch = tt.epoch == 255 ? 1 : uint8_t(tt.epoch + 1);
    const uint64_t share = (tt.lineCount + 253) / 254;
    const uint64_t count = std::min(share, tt.lineCount - tt.sweepCursor);
    memset(tt.lineEpochs + tt.sweepCursor, 0, count);
    tt.sweepCursor = tt.sweepCursor + count >= tt.lineCount ? 0 : tt.sweepCursor + count;
}

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

int16_t ProbeHashAt(const Position& pos, uint64_t& data, uint8_t depth, uint8_t ply, int16_t alpha, int16_t beta,
                    uint64_t index) {
    TranspositionTable& tt = transpositionTable;
    if (!tt.records) return HashMiss;
    const Bucket bucket = tt.blockSlots ? BucketAt<PooledLine>(tt, index) : BucketAt<InPlaceLine>(tt, index);
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

void StoreHashAt(const Position& pos, uint8_t depth, uint8_t ply, int flags, int16_t score, Move move,
                 uint64_t index) {
    TranspositionTable& tt = transpositionTable;
    if (searchStop || iterationAbort || !tt.records) return;
    // Lines that read as empty are made live (and zeroed) before the slot is chosen.
    const Bucket bucket =
        tt.blockSlots ? BucketAt<ClaimPooledLine>(tt, index) : BucketAt<ClaimInPlaceLine>(tt, index);
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
    if (!tt.written) tt.written = 1;
}

void StoreHash(const Position& pos, uint8_t depth, uint8_t ply, int flags, int16_t score, Move move) {
    StoreHashAt(pos, depth, ply, flags, score, move, pos.key & (transpositionTable.entries - 1));
}
