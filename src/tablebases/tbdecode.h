// Decoding of Syzygy table files: section layout, position indices and the pair decompression.
#pragma once

#include <cstdint>

#include "tablebases/tbfile.h"

// binomial[k][n] = n over (k + 1).
extern uint32_t binomial[5][64];
extern uint32_t pawnIdx[5][24];
extern uint32_t pawnFactor[5][4];

void InitIndexTables();

// Lay out every section of a mapped file whose magic has been checked; false when the file is
// inconsistent (a section outside the mapping, an impossible header), which callers treat as corrupt.
bool ParseWdlFile(TableEntry& entry);
bool ParseDtzFile(TableEntry& entry);
// Releases what the parsers allocated (the PairsData records), not the mapping.
void FreeTableData(TableEntry& entry);

// squares are in the table's piece order and are transformed in place.
uint64_t EncodePiece(const TableEntry& entry, const uint8_t* norm, int* squares, const int32_t* factor);
uint64_t EncodePawn(const TableEntry& entry, const uint8_t* norm, int* squares, const int32_t* factor);
int LeadingPawnFile(const TableEntry& entry, int* squares);

// The stored byte at index; 0 for an index or a code outside what the table holds.
uint8_t DecompressPairs(const PairsData& pairs, uint64_t index);
