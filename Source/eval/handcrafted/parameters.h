// The table of named weights of the hand-crafted evaluation: one middle-game and end-game pair a
// record, in centipawns. Filled once at start and constant from then on; all threads read it without
// a lock. The evaluation reaches a record by its pointer, a print-out or a tuner by its name.
#pragma once

#include "platform/integers.h"

constexpr int PARAM_NAME_SIZE = 24;

struct ParamRecord {
    i32 packed;                  // mg + (eg << 16), the word that the evaluation adds
    float mg, eg;                // the same two values, for shares of a parameter
    u32 tuning[4];               // room for a tuner; the evaluation does not read it
    char name[PARAM_NAME_SIZE];  // ended by a zero byte; longer names are cut
};

constexpr int SCALAR_PARAMS = 43;
constexpr int PST_COUNT = 9;
constexpr int TTUNE_PARAMS = 32;  // no term reads them: room for experiments
constexpr int PARAM_TABLE_SIZE = SCALAR_PARAMS + PST_COUNT * 64 + TTUNE_PARAMS;

extern ParamRecord param_table[PARAM_TABLE_SIZE];
extern int param_count;      // records in use
extern int first_pst_index;  // first record of a piece-square table; -1 before there is one

// The scalars, in the table's order. `mtl_imbalance` is read by no term.
extern ParamRecord *mtl_pawn, *mtl_knight, *mtl_bishop, *mtl_rook, *mtl_queen;
extern ParamRecord *bishop_pair, *knight_mobility, *bishop_mobility, *rook_mobility, *queen_mobility;
extern ParamRecord *ppawn_base, *ppawn_mobile, *ppawn_free, *ppawn_connected;
extern ParamRecord *ppawn_fkprox, *ppawn_ekprox, *ppawn_candidate;
extern ParamRecord *pawn_isolated, *pawn_weak, *pawn_blocked, *pawn_doubled;
extern ParamRecord *knight_outpost, *bishop_infiltration, *bishop_outpost, *bishop_rampawns;
extern ParamRecord *rook_infiltration, *rook_openfile, *rook_7th;
extern ParamRecord *pawn_shield, *enemy_checks, *king_danger1, *king_danger2, *king_trapped, *king_pawn_dist;
extern ParamRecord *hung_pawn, *attacked_pawn, *hung_minor, *attacked_minor, *hung_major;
extern ParamRecord *ppush_threat, *pinned_piece, *mtl_imbalance, *stm_bonus;

// Piece-square tables, by square in the owner's frame: 0..7 is the owner's first rank, and the
// owner's king is on files e..h. For pawns: P1 with both kings on one wing, P2 with kings on
// opposite wings, CP with a neighbour on the rank, DP defended by a pawn.
extern ParamRecord *PST_P1[64], *PST_P2[64], *PST_CP[64], *PST_DP[64];
extern ParamRecord *PST_N[64], *PST_B[64], *PST_R[64], *PST_Q[64], *PST_K[64];

// Registers all records in order, material at placeholder values and the rest at zero. Before
// parse_parameter_text.
void init_parameters();
// Appends one record and puts its address into `slot`, which may be null. A full table takes no more.
void register_param(ParamRecord **slot, const char *name, int mg, int eg);
void register_param_zero(ParamRecord **slot, const char *name);
// Reads a text of "name,mg,eg,mg,eg..." lines into the table: values go to the records in order, a
// wrong name is reported with "error %s  %s" and its value stored anyway. Values that do not
// fit a packed half are cut to it; pairs beyond the table are dropped.
void parse_parameter_text(const char *text);
// Prints a table of 64 pairs, rank 8 first: eight mg values, then the eight eg values of the rank.
void print_pst_table(const char *title, ParamRecord *const *pointers);

// Packed scores add and multiply as plain 32-bit words that wrap, so the sums are formed unsigned.
inline u32 packed_times(int count, const ParamRecord *param) {
    return static_cast<u32>(count) * static_cast<u32>(param->packed);
}
// A share of a parameter: either half is one single-precision product, truncated toward zero.
inline i32 packed_share(const ParamRecord *param, float share) {
    const int mg = static_cast<int>(share * param->mg), eg = static_cast<int>(share * param->eg);
    return static_cast<i32>(static_cast<u32>(mg) + (static_cast<u32>(eg) << 16));
}
