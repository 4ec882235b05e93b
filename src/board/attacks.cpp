#include "board/attacks.h"

#include <bit>
#include <utility>

namespace {

constexpr uint64_t BISHOP_MAGIC_NUMBERS[64] = {
    0x0108206100610100, 0x0402180929020300, 0x0008082040840090, 0x0021050100002028,
    0x1024042040200000, 0x0002021004200100, 0x0921013520A01A30, 0x0000240402013063,
    0x010A141006080100, 0x5012095009044100, 0x4000308400404008, 0x0080440400818410,
    0x0000020210004180, 0x0600108220A00804, 0x0840710C02200480, 0x0000120084010801,
    0x0020280420040122, 0xA810806210410500, 0x0040408802002021, 0x401800018200C100,
    0x80040022020A0010, 0x2002108808040401, 0x4804001218C40400, 0x0300800164044200,
    0x0010402204084202, 0x0018204018012120, 0x000388093000C010, 0x0424808038020002,
    0x10490030C5004000, 0x10008A0027080611, 0x201802220102820B, 0x0002008022004508,
    0x2002082008042010, 0x04041A0800200382, 0x8101004104080801, 0x9801420082080081,
    0x8020003040040040, 0xC050010202084050, 0x8414008080042402, 0x0021010200011042,
    0x002C100406481001, 0x008D040A02022000, 0x2061040024041E00, 0x280842C200804800,
    0x4000241008828400, 0x001A102202002060, 0x01302400A2810400, 0x1024040080A00207,
    0x0420440208409001, 0x02028401C8340100, 0x0100051088044001, 0x0000020920880040,
    0x908A024018222100, 0x0000202112028000, 0x1060040392040220, 0x0808084800806100,
    0x0180140505301000, 0x1002010041246000, 0x0100010822095000, 0x0302000404840440,
    0x34000C4050020200, 0xC120084002042112, 0x0800081208085900, 0x010A244408024100,
};

constexpr uint64_t ROOK_MAGIC_NUMBERS[64] = {
    0x0080004000976080, 0x4140011000402001, 0x4880200210000980, 0x5280080010000482,
    0x0200040200081020, 0x2100080100020400, 0x4280008001000200, 0x01000A4425820300,
    0x0204800028400080, 0x0004C02010034000, 0x0027001100C02000, 0x9206802800500080,
    0xC202002046001008, 0x000A808002000400, 0x0004000402101801, 0x0009000162008900,
    0x4080004002402003, 0x0020808040042001, 0x0020038030008021, 0x4012020010402028,
    0x730C008008000480, 0x0200808004000200, 0x400064000850A201, 0x2140420000840043,
    0x008090E080004000, 0x2020002040401000, 0x2810080020002400, 0x62007001000B0022,
    0x024028010011000C, 0x0402040080800200, 0x44320804000AC310, 0x0884C08200340141,
    0x0080004000402004, 0x0084842000804002, 0x0002100080802000, 0x0030100080800800,
    0x980800C200400400, 0x0402001142000408, 0x0412020844001005, 0x6069104482002C01,
    0x1901844000218000, 0x0050004820004010, 0x0020010372410021, 0x80020248C0220010,
    0x100400080080802C, 0x8022004410060009, 0x02092D02500C0088, 0x0002440844820003,
    0x8180006001400240, 0xA210004002200040, 0x0020604202188200, 0x80480030011A8180,
    0x08001C0082480080, 0x4008020080140080, 0x5001008402002100, 0xC200004904208200,
    0x0000408410210202, 0x1000512240008101, 0x001200800820C052, 0x2800490160041001,
    0x0082000430200802, 0x4406008804100122, 0x2C01001400820041, 0x0000004401810022,
};

constexpr int BISHOP_DIRECTIONS[4][2] = {{1, 1}, {-1, 1}, {1, -1}, {-1, -1}};
constexpr int ROOK_DIRECTIONS[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};

using attacks_detail::OnBoard;

// Squares from sq to the board edge in one direction, sq excluded.
constexpr Bitboard Ray(int sq, const int (&d)[2]) {
    Bitboard ray = 0;
    for (int f = FileOf(sq) + d[0], r = RankOf(sq) + d[1]; OnBoard(f, r); f += d[0], r += d[1])
        ray |= SquareBit(f + 8 * r);
    return ray;
}

struct RayTable {
    Bitboard ray[4][64];
};

constexpr RayTable MakeRays(const int (&directions)[4][2]) {
    RayTable t{};
    for (int i = 0; i < 4; ++i)
        for (int sq = 0; sq < 64; ++sq) t.ray[i][sq] = Ray(sq, directions[i]);
    return t;
}

constexpr RayTable BISHOP_RAYS = MakeRays(BISHOP_DIRECTIONS);
constexpr RayTable ROOK_RAYS = MakeRays(ROOK_DIRECTIONS);

// Each ray is cut behind its first blocker: the nearest blocker is the lowest square on rays that climb
// and the highest on rays that descend. Cheap enough to fill the whole table during compilation.
constexpr Bitboard RayAttacks(int sq, Bitboard occupied, const RayTable& rays) {
    Bitboard attacks = 0;
    for (int i = 0; i < 4; ++i) {
        Bitboard ray = rays.ray[i][sq];
        Bitboard blockers = ray & occupied;
        if (blockers) {
            int first = Bitboard(SquareBit(sq)) < ray ? Lsb(blockers) : 63 - std::countl_zero(blockers);
            ray ^= rays.ray[i][first];
        }
        attacks |= ray;
    }
    return attacks;
}

// The ray squares whose occupancy matters: the last square of each ray never blocks anything beyond.
constexpr Bitboard RelevantMask(int sq, const int (&directions)[4][2]) {
    Bitboard mask = 0;
    for (const auto& d : directions)
        for (int f = FileOf(sq) + d[0], r = RankOf(sq) + d[1]; OnBoard(f + d[0], r + d[1]); f += d[0], r += d[1])
            mask |= SquareBit(f + 8 * r);
    return mask;
}

// Reached during constant evaluation only when a multiplier maps two subsets with different attacks to one
// index; being non-constexpr, it turns that into a compile error.
void DestructiveMagicCollision() {}

constexpr int SliceSize(int sq, bool rook) {
    return 1 << PopCount(RelevantMask(sq, rook ? ROOK_DIRECTIONS : BISHOP_DIRECTIONS));
}

constexpr int SliceOffset(int sq, bool rook) {
    int offset = 0;
    if (rook)
        for (int s = 0; s < 64; ++s) offset += SliceSize(s, false);
    for (int s = 0; s < sq; ++s) offset += SliceSize(s, rook);
    return offset;
}

// The compiler bounds the work of one constant evaluation, so the table is filled in chunks of eight
// squares, each a constant of its own: chunks 0-7 hold the bishop slices, 8-15 the rook slices.
constexpr int CHUNK_SQUARES = 8;
constexpr int CHUNK_COUNT = 16;

struct Chunk {
    Bitboard entries[CHUNK_SQUARES * 4096];
    int size;
};

constexpr Chunk FillChunk(int chunk) {
    const bool rook = chunk >= 8;
    const uint64_t(&magics)[64] = rook ? ROOK_MAGIC_NUMBERS : BISHOP_MAGIC_NUMBERS;
    const RayTable& rays = rook ? ROOK_RAYS : BISHOP_RAYS;
    Chunk c{};
    for (int sq = chunk % 8 * CHUNK_SQUARES; sq < (chunk % 8 + 1) * CHUNK_SQUARES; ++sq) {
        Bitboard mask = RelevantMask(sq, rook ? ROOK_DIRECTIONS : BISHOP_DIRECTIONS);
        int shift = 64 - PopCount(mask);
        Bitboard subset = 0;
        do {  // every subset of mask (carry-rippler)
            Bitboard attacks = RayAttacks(sq, subset, rays);
            Bitboard& slot = c.entries[c.size + ((subset * magics[sq]) >> shift)];
            if (slot != 0 && slot != attacks) DestructiveMagicCollision();
            slot = attacks;  // never 0: every slider attacks at least one square
            subset = (subset - mask) & mask;
        } while (subset);
        c.size += 1 << (64 - shift);
    }
    return c;
}

template <int N>
constexpr Chunk CHUNK = FillChunk(N);

template <int... N>
constexpr std::array<Bitboard, SLIDER_ATTACKS_SIZE> JoinChunks(std::integer_sequence<int, N...>) {
    std::array<Bitboard, SLIDER_ATTACKS_SIZE> table{};
    int offset = 0;
    auto append = [&](const Chunk& c) {
        for (int i = 0; i < c.size; ++i) table[offset + i] = c.entries[i];
        offset += c.size;
    };
    (append(CHUNK<N>), ...);
    if (offset != SLIDER_ATTACKS_SIZE) DestructiveMagicCollision();
    return table;
}

}  // namespace

constexpr std::array<Bitboard, SLIDER_ATTACKS_SIZE> SliderAttacks =
    JoinChunks(std::make_integer_sequence<int, CHUNK_COUNT>());

namespace {
constexpr std::array<MagicEntry, 64> BuildMagics(const uint64_t (&magics)[64], const int (&directions)[4][2],
                                                 bool rook) {
    std::array<MagicEntry, 64> entries{};
    for (int sq = 0; sq < 64; ++sq) {
        Bitboard mask = RelevantMask(sq, directions);
        entries[sq] = {mask, magics[sq], uint64_t(64 - PopCount(mask)), SliderAttacks.data() + SliceOffset(sq, rook)};
    }
    return entries;
}
}  // namespace

constexpr std::array<MagicEntry, 64> BishopMagics = BuildMagics(BISHOP_MAGIC_NUMBERS, BISHOP_DIRECTIONS, false);
constexpr std::array<MagicEntry, 64> RookMagics = BuildMagics(ROOK_MAGIC_NUMBERS, ROOK_DIRECTIONS, true);
