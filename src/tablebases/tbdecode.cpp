#include "tablebases/tbdecode.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "board/types.h"

uint32_t binomial[5][64];
uint32_t pawnIdx[5][24];
uint32_t pawnFactor[5][4];

namespace {

struct SquareTables {
    int8_t offDiag[64];
    uint8_t flipDiag[64];
    uint8_t triangle[64];
    uint8_t lower[64];
    uint8_t diag[64];
    int16_t kkIndex[10][64];
    uint8_t flap[64];
    uint8_t ptwist[64];
};

constexpr bool Adjacent(int a, int b) {
    int df = FileOf(a) - FileOf(b), dr = RankOf(a) - RankOf(b);
    return df >= -1 && df <= 1 && dr >= -1 && dr <= 1;
}

constexpr SquareTables MakeSquareTables() {
    SquareTables t{};
    for (int sq = 0; sq < 64; ++sq) {
        int f = FileOf(sq), r = RankOf(sq);
        t.offDiag[sq] = int8_t(f == r ? 0 : r > f ? 1 : -1);
        t.flipDiag[sq] = uint8_t(8 * f + r);
        int ff = f > 3 ? 7 - f : f, rr = r > 3 ? 7 - r : r;
        if (rr > ff) std::swap(ff, rr);
        // Folded into a1-d1-d4: the off-diagonal squares b1 c1 d1 c2 d2 d3 first, then a1 b2 c3 d4.
        constexpr int8_t classOf[4][4] = {{6, 0, 1, 2}, {-1, 7, 3, 4}, {-1, -1, 8, 5}, {-1, -1, -1, 9}};
        t.triangle[sq] = uint8_t(classOf[rr][ff]);
        t.diag[sq] = uint8_t(f == r ? r : f + r == 7 ? 8 + r : 0);
        if (r >= 1 && r <= 6) {
            t.flap[sq] = uint8_t(6 * (f < 7 - f ? f : 7 - f) + r - 1);
            t.ptwist[sq] = uint8_t(f <= 3 ? 47 - 12 * f - 2 * (r - 1) : 47 - 12 * (7 - f) - 2 * (r - 1) - 1);
        }
    }
    int below = 0;
    for (int sq = 0; sq < 64; ++sq)
        if (FileOf(sq) > RankOf(sq)) t.lower[sq] = uint8_t(below++);
    for (int sq = 0; sq < 64; ++sq) {
        if (FileOf(sq) == RankOf(sq)) t.lower[sq] = uint8_t(28 + RankOf(sq));
        if (RankOf(sq) > FileOf(sq)) t.lower[sq] = t.lower[t.flipDiag[sq]];
    }
    constexpr int representative[10] = {1, 2, 3, 10, 11, 19, 0, 9, 18, 27};
    int n = 0;
    for (int row = 0; row < 10; ++row)
        for (int sq = 0; sq < 64; ++sq) t.kkIndex[row][sq] = -1;
    for (int row = 0; row < 6; ++row)
        for (int sq = 0; sq < 64; ++sq)
            if (!Adjacent(representative[row], sq)) t.kkIndex[row][sq] = int16_t(n++);
    // With the first king on the diagonal the second is folded below it: off-diagonal squares, then the diagonal.
    for (int row = 6; row < 10; ++row)
        for (int sq = 0; sq < 64; ++sq)
            if (FileOf(sq) > RankOf(sq) && !Adjacent(representative[row], sq)) t.kkIndex[row][sq] = int16_t(n++);
    for (int row = 6; row < 10; ++row)
        for (int sq = 0; sq < 64; ++sq)
            if (FileOf(sq) == RankOf(sq) && !Adjacent(representative[row], sq)) t.kkIndex[row][sq] = int16_t(n++);
    return t;
}

constexpr SquareTables TB = MakeSquareTables();
static_assert(TB.kkIndex[9][63] == 461 && TB.lower[63 - 7] == 6 && TB.triangle[63] == 6);

constexpr uint8_t fileToFile[8] = {0, 1, 2, 3, 3, 2, 1, 0};
constexpr int32_t pieceFactor[3] = {31332, 28056, 462};

uint16_t ReadLe16(const uint8_t* p) { return uint16_t(p[0] | p[1] << 8); }
uint32_t ReadLe32(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24; }
uint32_t ReadBe32(const uint8_t* p) { return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | uint32_t(p[3]); }

// n over k for the small k of table groups.
uint64_t Binomial(int n, int k) {
    if (k == 0) return 1;
    if (n < 0 || n > 63 || k > 5) return 0;
    return binomial[k - 1][n];
}

// A read position in a mapped file that refuses to move past its end.
struct FileCursor {
    const uint8_t* base;
    uint64_t size;
    uint64_t pos;
    bool ok;
    bool Has(uint64_t n) {
        if (!ok || pos > size || n > size - pos) ok = false;
        return ok;
    }
    const uint8_t* At() const { return base + pos; }
};

// Pieces listed in runs of equal codes, matching the material that the registry named, with the leading
// pawns first; anything else would index outside the tables while encoding.
bool ValidPieceOrder(const TableEntry& e, const uint8_t* pieces) {
    uint8_t seen[16] = {};
    for (int i = 0; i < e.num; ++i) {
        int c = pieces[i];
        if ((c & 7) == 0 || (c & 7) == 7) return false;
        if (i > 0 && c != pieces[i - 1] && seen[c]) return false;
        ++seen[c];
    }
    if (std::memcmp(seen, e.pieceCount, sizeof(seen)) != 0) return false;
    if (e.hasPawns) {
        if ((pieces[0] & 7) != 1 || e.pieceCount[pieces[0]] != e.pawns[0]) return false;
        if (e.pawns[1] && ((pieces[e.pawns[0]] & 7) != 1 || pieces[e.pawns[0]] == pieces[0])) return false;
    }
    return true;
}

// Fills norm and factor from the piece order; returns the table size, 0 when the order bytes do not fit.
uint64_t SetupSide(const TableEntry& e, TableSide& ts, int order, int order2, int fileGroup) {
    std::memset(ts.norm, 0, sizeof(ts.norm));
    std::memset(ts.factor, 0, sizeof(ts.factor));
    int i;
    if (e.hasPawns) {
        ts.norm[0] = e.pawns[0];
        if (e.pawns[1]) ts.norm[e.pawns[0]] = e.pawns[1];
        i = e.pawns[0] + e.pawns[1];
    } else {
        ts.norm[0] = e.encType == 0 ? 3 : 2;
        i = ts.norm[0];
    }
    for (int j = i; j < e.num; j += ts.norm[j])
        for (int k = j; k < e.num && ts.pieces[k] == ts.pieces[j]; ++k) ++ts.norm[j];

    bool orderDone = false, order2Done = order2 == 0x0F;
    i = ts.norm[0];
    if (!order2Done) i += ts.norm[i];
    int n = 64 - i;
    uint64_t f = 1;
    for (int k = 0; i < e.num || k == order || k == order2; ++k) {
        if (f > INT32_MAX) return 0;
        if (k == order) {
            ts.factor[0] = int32_t(f);
            f *= e.hasPawns ? pawnFactor[ts.norm[0] - 1][fileGroup] : uint32_t(pieceFactor[e.encType]);
            orderDone = true;
        } else if (k == order2) {
            ts.factor[ts.norm[0]] = int32_t(f);
            f *= Binomial(48 - ts.norm[0], ts.norm[ts.norm[0]]);
            order2Done = true;
        } else {
            ts.factor[i] = int32_t(f);
            f *= Binomial(n, ts.norm[i]);
            n -= ts.norm[i];
            i += ts.norm[i];
        }
    }
    return orderDone && order2Done ? f : 0;
}

// Reads the piece headers of every file group; false when they are inconsistent.
bool SetupPieces(TableEntry& e, FileCursor& cur, int sides, uint64_t tableSize[4][2]) {
    int groups = e.hasPawns ? 4 : 1;
    int orderBytes = e.hasPawns && e.pawns[1] ? 2 : 1;
    for (int g = 0; g < groups; ++g) {
        if (!cur.Has(uint64_t(orderBytes) + e.num)) return false;
        const uint8_t* p = cur.At();
        for (int s = 0; s < sides; ++s) {
            TableSide& ts = e.side[g][s];
            int shift = 4 * s;
            for (int i = 0; i < e.num; ++i) ts.pieces[i] = uint8_t(p[orderBytes + i] >> shift & 0x0F);
            if (!ValidPieceOrder(e, ts.pieces)) return false;
            int order = p[0] >> shift & 0x0F;
            int order2 = orderBytes == 2 ? p[1] >> shift & 0x0F : 0x0F;
            if (orderBytes == 2 && order2 == 0x0F) return false;
            tableSize[g][s] = SetupSide(e, ts, order, order2, g);
            if (tableSize[g][s] == 0 || tableSize[g][s] > (uint64_t(1) << 40)) return false;
        }
        cur.pos += orderBytes + e.num;
    }
    cur.pos += cur.pos & 1;
    return true;
}

// Parses one compression header at the cursor; sizes receives the lengths of index table, size table, data.
PairsData* SetupPairs(FileCursor& cur, uint64_t tableSize, uint64_t sizes[3], uint8_t& flags, bool isWdl) {
    if (!cur.Has(2)) return nullptr;
    const uint8_t* d = cur.At();
    flags = d[0];
    PairsData* pd = new PairsData{};
    if (d[0] & 0x80) {
        pd->idxBits = 0;
        pd->minLen = isWdl ? d[1] : 0;
        sizes[0] = sizes[1] = sizes[2] = 0;
        cur.pos += 2;
        return pd;
    }
    if (!cur.Has(12)) return delete pd, nullptr;
    pd->blockSize = d[1];
    pd->idxBits = d[2];
    pd->realBlocks = ReadLe32(d + 4);
    uint64_t blocks = uint64_t(pd->realBlocks) + d[3];
    pd->maxLen = d[8];
    pd->minLen = d[9];
    if (pd->blockSize > 31 || pd->idxBits < 1 || pd->idxBits > 40 || pd->minLen < 1 || pd->maxLen > 32 ||
        pd->minLen > pd->maxLen || blocks > UINT32_MAX)
        return delete pd, nullptr;
    pd->blocks = uint32_t(blocks);
    int h = pd->maxLen - pd->minLen + 1;
    cur.pos += 10;
    if (!cur.Has(2 * uint64_t(h) + 2)) return delete pd, nullptr;
    pd->offset = cur.At();
    pd->symbolCount = ReadLe16(cur.At() + 2 * h);
    cur.pos += 2 * uint64_t(h) + 2;
    uint64_t patternBytes = 3 * uint64_t(pd->symbolCount) + (pd->symbolCount & 1);
    if (!cur.Has(patternBytes)) return delete pd, nullptr;
    pd->symPat = cur.At();
    cur.pos += patternBytes;

    pd->indexEntries = (tableSize + (uint64_t(1) << pd->idxBits) - 1) >> pd->idxBits;
    sizes[0] = 6 * pd->indexEntries;
    sizes[1] = 2 * uint64_t(pd->blocks);
    sizes[2] = uint64_t(pd->realBlocks) << pd->blockSize;

    // Expansion lengths, walking each pair down to its literals; a pair that refers to a missing symbol or
    // (through other pairs) to itself marks a corrupt file.
    uint32_t count = pd->symbolCount;
    pd->symLen = new uint8_t[count ? count : 1];
    uint8_t* state = new uint8_t[count ? count : 1]();  // 0 new, 1 in progress, 2 done
    uint16_t* stack = new uint16_t[count ? count : 1];
    bool good = true;
    for (uint32_t root = 0; root < count && good; ++root) {
        if (state[root] == 2) continue;
        int top = 0;
        stack[top++] = uint16_t(root);
        state[root] = 1;
        while (top > 0 && good) {
            uint32_t s = stack[top - 1];
            const uint8_t* w = pd->symPat + 3 * s;
            uint32_t left = w[0] | (w[1] & 0x0F) << 8, right = w[1] >> 4 | w[2] << 4;
            if (right == 0xFFF) {
                pd->symLen[s] = 0;
                state[s] = 2;
                --top;
                continue;
            }
            if (left >= count || right >= count) {
                good = false;
                break;
            }
            uint32_t pending = state[left] != 2 ? left : state[right] != 2 ? right : count;
            if (pending == count) {
                pd->symLen[s] = uint8_t(pd->symLen[left] + pd->symLen[right] + 1);
                state[s] = 2;
                --top;
            } else if (state[pending] == 1) {
                good = false;
            } else {
                state[pending] = 1;
                stack[top++] = uint16_t(pending);
            }
        }
    }
    delete[] state;
    delete[] stack;
    if (!good) {
        delete[] pd->symLen;
        delete pd;
        return nullptr;
    }

    uint64_t base[33];
    base[h - 1] = 0;
    for (int i = h - 2; i >= 0; --i)
        base[i] = (base[i + 1] + ReadLe16(pd->offset + 2 * i) - ReadLe16(pd->offset + 2 * (i + 1))) / 2;
    for (int i = 0; i < h; ++i) pd->base[i] = uint32_t(base[i] << (32 - (pd->minLen + i)));
    return pd;
}

void FreePairs(PairsData*& pd) {
    if (!pd) return;
    delete[] pd->symLen;
    delete pd;
    pd = nullptr;
}

// Index tables, size tables and 64-byte aligned data sections follow the headers, each kind in header order.
bool LayOutSections(FileCursor& cur, PairsData** pairs, uint64_t (*sizes)[3], int count) {
    for (int part = 0; part < 3; ++part) {
        for (int t = 0; t < count; ++t) {
            if (part == 2) cur.pos = (cur.pos + 63) & ~uint64_t(63);
            if (sizes[t][part] == 0) continue;  // a table of one value has no sections
            if (!cur.Has(sizes[t][part])) return false;
            const uint8_t* at = cur.At();
            if (part == 0) pairs[t]->indexTable = at;
            if (part == 1) pairs[t]->sizeTable = at;
            if (part == 2) pairs[t]->data = at;
            cur.pos += sizes[t][part];
        }
    }
    return true;
}

}  // namespace

void InitIndexTables() {
    for (int k = 0; k < 5; ++k)
        for (int n = 0; n < 64; ++n) {
            uint64_t num = 1, den = 1;
            for (int i = 0; i <= k; ++i) {
                num *= uint64_t(n - i < 0 ? 0 : n - i);
                den *= uint64_t(i + 1);
            }
            binomial[k][n] = uint32_t(num / den);
        }
    for (int g = 0; g < 4; ++g) {
        for (int j = 6 * g; j < 6 * g + 6; ++j) pawnIdx[0][j] = uint32_t(j % 6);
        pawnFactor[0][g] = 6;
        for (int k = 1; k < 5; ++k) {
            uint32_t sum = 0;
            for (int j = 6 * g; j < 6 * g + 6; ++j) {
                pawnIdx[k][j] = sum;
                sum += binomial[k - 1][47 - 2 * j];
            }
            pawnFactor[k][g] = sum;
        }
    }
}

void FreeTableData(TableEntry& e) {
    for (auto& group : e.side)
        for (auto& ts : group) FreePairs(ts.pairs);
}

bool ParseWdlFile(TableEntry& e) {
    FileCursor cur{e.data, e.mapping, 4, true};
    if (!cur.Has(1)) return false;
    uint8_t fileFlags = e.data[4];
    cur.pos = 5;
    if (bool(fileFlags & 2) != bool(e.hasPawns)) return false;
    int groups = e.hasPawns ? 4 : 1;
    int sides = fileFlags & 1 ? 2 : 1;
    uint64_t tableSize[4][2] = {};
    if (!SetupPieces(e, cur, 2, tableSize)) return false;

    PairsData* pairs[8];
    uint64_t sizes[8][3];
    int count = 0;
    bool good = true;
    for (int g = 0; g < groups && good; ++g)
        for (int s = 0; s < sides && good; ++s) {
            uint8_t flags;
            PairsData* pd = SetupPairs(cur, tableSize[g][s], sizes[count], flags, true);
            if (!pd) good = false;
            else e.side[g][s].pairs = pairs[count++] = pd;
        }
    if (good) good = LayOutSections(cur, pairs, sizes, count);
    if (!good) FreeTableData(e);
    return good;
}

bool ParseDtzFile(TableEntry& e) {
    FileCursor cur{e.data, e.mapping, 4, true};
    if (!cur.Has(1)) return false;
    uint8_t fileFlags = e.data[4];
    cur.pos = 5;
    if (bool(fileFlags & 2) != bool(e.hasPawns)) return false;
    int groups = e.hasPawns ? 4 : 1;
    uint64_t tableSize[4][2] = {};
    if (!SetupPieces(e, cur, 1, tableSize)) return false;

    PairsData* pairs[4];
    uint64_t sizes[4][3];
    int count = 0;
    bool good = true;
    for (int g = 0; g < groups && good; ++g) {
        PairsData* pd = SetupPairs(cur, tableSize[g][0], sizes[count], e.flags[g], false);
        if (!pd) good = false;
        else e.side[g][0].pairs = pairs[count++] = pd;
    }
    // Value maps: four per group that uses them, each a length byte and that many values.
    e.map = cur.At();
    uint64_t mapStart = cur.pos;
    for (int g = 0; g < groups && good; ++g) {
        if (!(e.flags[g] & 2)) continue;
        for (int m = 0; m < 4 && good; ++m) {
            if (!cur.Has(1) || !cur.Has(1 + uint64_t(*cur.At()))) {
                good = false;
                break;
            }
            e.mapIdx[g][m] = uint16_t(cur.pos + 1 - mapStart);
            cur.pos += 1 + uint64_t(*cur.At());
        }
    }
    e.mapLength = uint32_t(cur.pos - mapStart);
    cur.pos += cur.pos & 1;
    if (good) good = LayOutSections(cur, pairs, sizes, count);
    if (!good) FreeTableData(e);
    return good;
}

// The index of the group of t like pieces at sq[i..i+t): sorted, each square counted past the squares of
// the pieces before the group (which it cannot share) and less base.
static uint64_t GroupIndex(int* sq, int i, int t, int base) {
    std::sort(sq + i, sq + i + t);
    uint64_t s = 0;
    for (int m = 0; m < t; ++m) {
        int p = sq[i + m], c = 0;
        for (int l = 0; l < i; ++l) c += sq[l] < p;
        s += binomial[m][p - c - base];
    }
    return s;
}

uint64_t EncodePiece(const TableEntry& e, const uint8_t* norm, int* sq, const int32_t* factor) {
    int n = e.num;
    if (sq[0] & 4)
        for (int i = 0; i < n; ++i) sq[i] ^= 7;
    if (sq[0] & 32)
        for (int i = 0; i < n; ++i) sq[i] ^= 56;
    int lead = e.encType == 0 ? 3 : 2;
    for (int i = 0; i < n; ++i) {
        if (!TB.offDiag[sq[i]]) continue;
        if (i < lead && TB.offDiag[sq[i]] > 0)
            for (int j = 0; j < n; ++j) sq[j] = TB.flipDiag[sq[j]];
        break;
    }

    uint64_t idx;
    if (e.encType == 0) {
        int s0 = sq[0], s1 = sq[1], s2 = sq[2];
        int i = s1 > s0;
        int j = (s2 > s0) + (s2 > s1);
        if (TB.offDiag[s0])
            idx = uint64_t(TB.triangle[s0]) * 63 * 62 + (s1 - i) * 62 + (s2 - j);
        else if (TB.offDiag[s1])
            idx = 6 * 63 * 62 + TB.diag[s0] * 28 * 62 + TB.lower[s1] * 62 + s2 - j;
        else if (TB.offDiag[s2])
            idx = 6 * 63 * 62 + 4 * 28 * 62 + TB.diag[s0] * 7 * 28 + (TB.diag[s1] - i) * 28 + TB.lower[s2];
        else
            idx = 6 * 63 * 62 + 4 * 28 * 62 + 4 * 7 * 28 + TB.diag[s0] * 7 * 6 + (TB.diag[s1] - i) * 6 +
                  (TB.diag[s2] - j);
    } else {
        idx = uint64_t(int64_t(TB.kkIndex[TB.triangle[sq[0]]][sq[1]]));
    }
    idx *= uint64_t(factor[0]);

    for (int i = lead; i < n; i += norm[i]) idx += GroupIndex(sq, i, norm[i], 0) * uint64_t(factor[i]);
    return idx;
}

int LeadingPawnFile(const TableEntry& e, int* sq) {
    for (int i = 1; i < e.pawns[0]; ++i)
        if (TB.flap[sq[0]] > TB.flap[sq[i]]) std::swap(sq[0], sq[i]);
    return fileToFile[sq[0] & 7];
}

uint64_t EncodePawn(const TableEntry& e, const uint8_t* norm, int* sq, const int32_t* factor) {
    int n = e.num;
    // Pawns on the first or last rank have no index; the caller's lookup then fails its bounds check.
    for (int i = 0; i < e.pawns[0] + e.pawns[1]; ++i)
        if (sq[i] < 8 || sq[i] >= 56) return ~uint64_t(0);
    if (sq[0] & 4)
        for (int i = 0; i < n; ++i) sq[i] ^= 7;
    int lead = e.pawns[0];
    std::sort(sq + 1, sq + lead, [](int a, int b) { return TB.ptwist[a] > TB.ptwist[b]; });
    int t = lead - 1;
    uint64_t idx = pawnIdx[t][TB.flap[sq[0]]];
    for (int i = t; i > 0; --i) idx += binomial[t - i][TB.ptwist[sq[i]]];
    idx *= uint64_t(factor[0]);

    int i = lead;
    if (e.pawns[1]) {
        // The other colour's pawns never stand on the first rank, so their squares start at 8.
        idx += GroupIndex(sq, i, e.pawns[1], 8) * uint64_t(factor[i]);
        i += e.pawns[1];
    }
    for (; i < n; i += norm[i]) idx += GroupIndex(sq, i, norm[i], 0) * uint64_t(factor[i]);
    return idx;
}

uint8_t DecompressPairs(const PairsData& d, uint64_t index) {
    if (d.idxBits == 0) return uint8_t(d.minLen);

    uint64_t main = index >> d.idxBits;
    if (main >= d.indexEntries) return 0;
    int64_t lit = int64_t(index & ((uint64_t(1) << d.idxBits) - 1)) - (int64_t(1) << (d.idxBits - 1));
    const uint8_t* entry = d.indexTable + 6 * main;
    uint32_t block = ReadLe32(entry);
    lit += ReadLe16(entry + 4);
    if (block >= d.blocks) return 0;
    while (lit < 0) {
        if (block == 0) return 0;
        --block;
        lit += ReadLe16(d.sizeTable + 2 * uint64_t(block)) + 1;
    }
    while (lit > ReadLe16(d.sizeTable + 2 * uint64_t(block))) {
        lit -= ReadLe16(d.sizeTable + 2 * uint64_t(block)) + 1;
        if (++block >= d.blocks) return 0;
    }
    if (block >= d.realBlocks) return 0;

    // Codes are read from big-endian 32-bit words; bits past the block's end read as zeros.
    const uint8_t* ptr = d.data + (uint64_t(block) << d.blockSize);
    const uint8_t* end = ptr + (uint64_t(1) << d.blockSize);
    auto nextWord = [&]() -> uint64_t {
        if (end - ptr < 4) return 0;
        uint32_t w = ReadBe32(ptr);
        ptr += 4;
        return w;
    };
    uint64_t window = nextWord() << 32;
    window |= nextWord();
    int bits = 64;  // valid bits at the top of window
    uint32_t sym;
    for (;;) {
        uint32_t code = uint32_t(window >> 32);
        int l = 0;
        while (code < d.base[l]) ++l;
        sym = ReadLe16(d.offset + 2 * l) + ((code - d.base[l]) >> (32 - (d.minLen + l)));
        if (sym >= d.symbolCount) return 0;
        if (lit < int64_t(d.symLen[sym]) + 1) break;
        lit -= int64_t(d.symLen[sym]) + 1;
        int len = d.minLen + l;
        window <<= len;
        bits -= len;
        if (bits < 32) {
            window |= nextWord() << (32 - bits);
            bits += 32;
        }
    }
    while (d.symLen[sym] != 0) {
        const uint8_t* w = d.symPat + 3 * sym;
        uint32_t left = w[0] | (w[1] & 0x0F) << 8;
        if (lit < int64_t(d.symLen[left]) + 1) {
            sym = left;
        } else {
            lit -= int64_t(d.symLen[left]) + 1;
            sym = w[1] >> 4 | w[2] << 4;
        }
    }
    return d.symPat[3 * sym];
}
