// The records of one Syzygy table file: what the registry maps and the decoder lays out and reads.
#pragma once

#include <atomic>
#include <cstdint>

constexpr int TBPIECES = 6;       // largest material of the registry, kings included

// One compression header of a table file, with the decoding arrays built from it.
struct PairsData {
    const uint8_t* indexTable;  // 6-byte entries: block (32-bit), offset (16-bit)
    const uint8_t* sizeTable;   // 16-bit per block: values in the block minus 1
    const uint8_t* data;        // compressed blocks of 2^blockSize bytes
    const uint8_t* offset;      // 16-bit first symbol per code length, from minLen on
    uint8_t* symLen;            // per symbol: length of its expansion minus 1
    const uint8_t* symPat;      // 3 bytes per symbol: left and right 12-bit halves
    int32_t blockSize;
    int32_t idxBits;
    int32_t minLen;  // the single stored value when idxBits is 0
    uint32_t base[33];  // canonical code thresholds, indexed by code length minus minLen
    // Bounds of the sections above, checked while decoding so that a corrupt file cannot lead outside them.
    int32_t maxLen;
    uint32_t symbolCount;
    uint64_t indexEntries;
    uint32_t blocks;      // entries of sizeTable
    uint32_t realBlocks;  // blocks present in data
};

// Decoding data of one side to move in one file group.
struct TableSide {
    PairsData* pairs;
    int32_t factor[TBPIECES];
    uint8_t pieces[TBPIECES];  // piece codes in table order: colour * 8 + kind, colours as stored
    uint8_t norm[TBPIECES];    // group sizes at the first position of each group
};

struct TableEntry {
    const uint8_t* data;  // start of the mapped file
    uint64_t key;         // material key of the material as named
    uint64_t mapping;     // bytes mapped
    std::atomic<uint8_t> ready;
    uint8_t num;
    uint8_t symmetric;
    uint8_t hasPawns;
    uint8_t encType;   // materials without pawns: 0 three unique pieces lead, 2 the two kings lead
    uint8_t pawns[2];  // materials with pawns: pawns of the leading colour, then of the other
    uint8_t pieceCount[16];  // pieces of each code (colour * 8 + kind) of the named material
    TableSide side[4][2];    // per file group (one without pawns) and side to move; DTZ uses side 0
    // DTZ only: per file group the flags byte of its pairs header, the value maps and their starts.
    uint8_t flags[4];
    const uint8_t* map;
    uint32_t mapLength;
    uint16_t mapIdx[4][4];
};
