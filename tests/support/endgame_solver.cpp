#include "support/endgame_solver.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <utility>
#include <vector>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "support/files.h"
#include "tablebase/tablebase.h"
#include "tablebase/tb_moves.h"

static constexpr int STATES = 2 * 64 * 64 * 64;

static Bitboard *set_of(TbPosition *pos, int type) {
    Bitboard *const sets[7] = {nullptr,     &pos->pawns,  &pos->knights, &pos->bishops,
                               &pos->rooks, &pos->queens, &pos->kings};
    return sets[type];
}

bool ending_position(int type, int turn, int man, int white_king, int black_king, TbPosition *pos) {
    if (man == white_king || man == black_king || white_king == black_king) return false;
    if (type == PAWN && (man < 8 || man > 55)) return false;
    *pos = TbPosition{};
    pos->white = bit(man) | bit(white_king);
    pos->black = bit(black_king);
    pos->kings = bit(white_king) | bit(black_king);
    *set_of(pos, type) = bit(man);
    pos->turn = static_cast<u8>(!turn);
    const bool other_in_check = tb_in_check(*pos);
    pos->turn = static_cast<u8>(turn);
    return !other_in_check;
}

TbPosition mirrored(const TbPosition &pos) {
    TbPosition out = pos;
    for (Bitboard *set :
         {&out.white, &out.black, &out.kings, &out.queens, &out.rooks, &out.bishops, &out.knights, &out.pawns})
        *set = __builtin_bswap64(*set);
    std::swap(out.white, out.black);
    out.turn = !pos.turn;
    if (pos.ep) out.ep = pos.ep ^ 56;
    return out;
}

// One of the positions that differ by reflections only: the white king on files a to d and, without
// pawns, in the a1-d1-d4 triangle.
static int state_of(int type, int turn, int man, int white_king, int black_king) {
    int squares[3] = {man, white_king, black_king};
    const auto turn_board = [&](int mask) {
        for (int &square : squares) square ^= mask;
    };
    if (file_of(white_king) > 3) turn_board(7);
    if (type != PAWN) {
        if (rank_of(squares[1]) > 3) turn_board(56);
        if (rank_of(squares[1]) > file_of(squares[1]))
            for (int &square : squares) square = file_of(square) * 8 + rank_of(square);
    }
    return ((turn * 64 + squares[0]) * 64 + squares[1]) * 64 + squares[2];
}

// -1 when the man isn't there any more: taken, or promoted.
static int state_of_position(TbPosition pos, int type) {
    const Bitboard man = *set_of(&pos, type);
    if (!man) return -1;
    return state_of(type, pos.turn, lowest(man), lowest(pos.kings & pos.white), lowest(pos.kings & pos.black));
}

using Values = std::vector<i16>;  // by state
static const Values &solved_ending(int type);

// What the moves of a state lead to: other states of the ending, or its end.
struct Moves {
    int state, turn;
    std::vector<int> quiet;  // states after moves that don't zero the clock
    bool zeroing_win;        // white wins by a pawn move
    bool zeroing_draw;       // a capture
    bool mate, stalemate;
};

static Moves moves_of(const TbPosition &pos, int type, const Values &values) {
    Moves moves{};
    moves.turn = pos.turn;
    TbMove list[TB_MAX_MOVES];
    TbMove *const end = tb_gen_legal(pos, list);
    if (end == list) (tb_in_check(pos) ? moves.mate : moves.stalemate) = true;
    for (const TbMove *move = list; move != end; ++move) {
        TbPosition next;
        tb_do_move(&next, pos, *move);
        const int state = state_of_position(next, type);
        if (tb_is_capture(pos, *move)) {
            moves.zeroing_draw = true;
        } else if (!tb_is_pawn_move(pos, *move)) {
            moves.quiet.push_back(state);
        } else if (state >= 0) {
            moves.zeroing_win |= values[state] < 0;
        } else if (tb_promotion(*move) == TB_QUEEN || tb_promotion(*move) == TB_ROOK) {
            const int promoted = tb_promotion(*move) == TB_QUEEN ? QUEEN : ROOK;
            moves.zeroing_win |= solved_ending(promoted)[state_of_position(next, promoted)] < 0;
        }
    }
    return moves;
}

// The value of a state from those after its moves: a win is one longer than the shortest loss it
// leads to, a loss one longer than the longest win; 0 while that isn't known. Giving mate counts 1.
static int value_of(const Moves &moves, const Values &values) {
    if (moves.mate) return -1;
    if (moves.turn == 1) {
        int best = moves.zeroing_win ? 1 : 0;
        for (const int next : moves.quiet) {
            if (values[next] >= 0) continue;
            const int value = values[next] == -1 ? 1 : 1 - values[next];
            if (best == 0 || value < best) best = value;
        }
        return best;
    }
    if (moves.stalemate || moves.zeroing_draw) return 0;
    int worst = 0;
    for (const int next : moves.quiet) {
        if (values[next] <= 0) return 0;
        worst = std::min(worst, -values[next] - 1);
    }
    return worst;
}

// Solves all positions with the man on one of these squares. Round by round, longer values settle;
// what is left over is drawn.
static void solve_phase(int type, Values *values, const std::vector<int> &men) {
    std::vector<Moves> open;
    for (const int man : men)
        for (int turn = 0; turn < 2; ++turn)
            for (int kings = 0; kings < 64 * 64; ++kings) {
                const int white_king = kings / 64, black_king = kings % 64;
                const int state = ((turn * 64 + man) * 64 + white_king) * 64 + black_king;
                TbPosition pos;
                if (state_of(type, turn, man, white_king, black_king) != state) continue;
                if (!ending_position(type, turn, man, white_king, black_king, &pos)) continue;
                open.push_back(moves_of(pos, type, *values));
                open.back().state = state;
                (*values)[state] = 0;
            }
    for (int round = 1, idle = 0; idle < 2; ++round) {
        std::vector<Moves> still_open;
        std::vector<std::pair<int, int>> settled;
        for (Moves &moves : open) {
            const int value = value_of(moves, *values);
            if (value != 0 && std::abs(value) <= round) settled.push_back({moves.state, value});
            else still_open.push_back(std::move(moves));
        }
        for (const auto &[state, value] : settled) (*values)[state] = static_cast<i16>(value);
        idle = settled.empty() ? idle + 1 : 0;
        open = std::move(still_open);
    }
}

// A pawn's squares are solved from the seventh rank down, as its moves lead up.
static Values solve(int type) {
    Values values(STATES, NO_STATE);
    std::vector<int> squares;
    for (int square = 0; square < 64; ++square) squares.push_back(square);
    if (type != PAWN) solve_phase(type, &values, squares);
    else
        for (int rank = 6; rank >= 1; --rank)
            solve_phase(type, &values, {squares.begin() + 8 * rank, squares.begin() + 8 * rank + 8});
    return values;
}

// Solved once per program.
static const Values &solved_ending(int type) {
    static std::map<int, Values> solved;
    const auto at = solved.find(type);
    return at != solved.end() ? at->second : solved.emplace(type, solve(type)).first->second;
}

int ending_dtz(int type, int turn, int man, int white_king, int black_king) {
    TbPosition pos;
    if (!ending_position(type, turn, man, white_king, black_king, &pos)) return NO_STATE;
    return solved_ending(type)[state_of(type, turn, man, white_king, black_king)];
}

int formatted_dtz(int dtz, const EndingFormat &format) {
    if (std::abs(dtz) < format.cursed_from) return dtz;
    return dtz > 0 ? dtz + format.cursed_shift : dtz - format.cursed_shift;
}

int formatted_wdl(int dtz, const EndingFormat &format) {
    const int shifted = formatted_dtz(dtz, format);
    const int size = std::abs(shifted) > 100 ? 1 : 2;
    return shifted > 0 ? size : shifted < 0 ? -size : 0;
}

// What a DTZ stream holds before its value map: plies or moves after the first.
static int stored_distance(int dtz, const EndingFormat &format) {
    const int wdl = formatted_wdl(dtz, format);
    if (wdl == 0) return 0;
    const int plies = std::abs(formatted_dtz(dtz, format)) - (std::abs(wdl) == 1 ? 101 : 1);
    const bool in_plies =
        (wdl == 2 && format.dtz_flags & WIN_PLIES_FLAG) || (wdl == -2 && format.dtz_flags & LOSS_PLIES_FLAG);
    return in_plies ? plies : plies / 2;
}

// The positions of a three-men table in their order, as solved distances. The men lead the index in
// the order white king, black king, man; with a pawn: pawn, white king, black king.
static std::vector<int> table_order(int type, int turn, int group) {
    std::vector<int> out;
    if (type == PAWN) {
        for (int black_place = 0; black_place < 62; ++black_place)
            for (int white_place = 0; white_place < 63; ++white_place)
                for (int rank = 1; rank < 7; ++rank) {
                    const int pawn = rank * 8 + group;
                    const int white_king = white_place + (white_place >= pawn);
                    int black_king = black_place;
                    for (const int taken : {std::min(pawn, white_king), std::max(pawn, white_king)})
                        black_king += black_king >= taken;
                    out.push_back(ending_dtz(PAWN, turn, pawn, white_king, black_king));
                }
        return out;
    }
    std::vector<int> below, diagonal, all;
    for (int square = 0; square < 64; ++square) {
        all.push_back(square);
        if (rank_of(square) == file_of(square)) diagonal.push_back(square);
        if (rank_of(square) < file_of(square)) below.push_back(square);
    }
    const std::vector<int> off_firsts = {1, 2, 3, 10, 11, 19}, diagonal_firsts = {0, 9, 18, 27};
    const auto add = [&](const std::vector<int> &first, const std::vector<int> &second, const std::vector<int> &third) {
        for (const int a : first)
            for (const int b : second)
                for (const int c : third)
                    if (a != b && a != c && b != c) out.push_back(ending_dtz(type, turn, c, a, b));
    };
    add(off_firsts, all, all);
    add(diagonal_firsts, below, all);
    add(diagonal_firsts, diagonal, below);
    add(diagonal_firsts, diagonal, diagonal);
    return out;
}

std::string ending_name(int type) { return std::string("K") + " PNBRQ"[type] + "vK"; }

static TablePlan ending_plan(int type, u32 magic, int flag_byte) {
    TablePlan plan;
    plan.magic = magic;
    plan.flag_byte = flag_byte;
    const auto both = [](int code) { return static_cast<u8>(code | code << 4); };
    if (type == PAWN) plan.orders.assign(4, {0, both(1), both(6), both(14)});
    else plan.orders.assign(1, {0, both(6), both(14), both(type)});
    return plan;
}

static StreamPlan stream_of(const EndingFormat &format) {
    StreamPlan stream;
    stream.block_bits = format.block_bits;
    stream.index_bits = format.index_bits;
    stream.pair_rounds = format.pair_rounds;
    return stream;
}

TablePlan ending_wdl_plan(int type, const EndingFormat &format) {
    TablePlan plan = ending_plan(type, WDL_MAGIC, 1);
    for (std::size_t group = 0; group < plan.orders.size(); ++group)
        for (const int turn : {1, 0}) {
            StreamPlan stream = stream_of(format);
            int value = 2;
            for (const int dtz : table_order(type, turn, static_cast<int>(group))) {
                if (dtz != NO_STATE) value = formatted_wdl(dtz, format) + 2;
                stream.values.push_back(static_cast<u16>(value));
            }
            plan.streams.push_back(stream);
        }
    return plan;
}

TablePlan ending_dtz_plan(int type, const EndingFormat &format) {
    static const int PART_OF_WDL[5] = {1, 3, 0, 2, 0};
    TablePlan plan = ending_plan(type, DTZ_MAGIC, 0);
    for (std::size_t group = 0; group < plan.orders.size(); ++group) {
        StreamPlan stream = stream_of(format);
        stream.flags = format.dtz_flags | (format.dtz_turn == 1 ? 0 : 1);
        std::vector<std::vector<u16>> map(4);
        int value = 0;
        for (const int dtz : table_order(type, format.dtz_turn, static_cast<int>(group))) {
            if (dtz != NO_STATE && dtz != 0) {
                value = stored_distance(dtz, format);
                if (stream.flags & MAPPED_FLAG) {
                    std::vector<u16> &part = map[PART_OF_WDL[formatted_wdl(dtz, format) + 2]];
                    const auto at = std::find(part.begin(), part.end(), value);
                    if (at == part.end()) part.push_back(static_cast<u16>(value));
                    value = static_cast<int>(std::find(part.begin(), part.end(), value) - part.begin());
                }
            }
            stream.values.push_back(static_cast<u16>(value));
        }
        plan.streams.push_back(stream);
        if (stream.flags & MAPPED_FLAG) plan.maps.push_back(map);
    }
    return plan;
}

bool write_three_endings(const std::string &directory) {
    const EndingFormat format;
    for (const int type : {QUEEN, ROOK, PAWN}) {
        const std::string path = directory + "/" + ending_name(type);
        if (!write_file(path + ".rtbw", table_bytes(ending_wdl_plan(type, format)))) return false;
        if (!write_file(path + ".rtbz", table_bytes(ending_dtz_plan(type, format)))) return false;
    }
    // A pawn may become one of these, and a probe asks for all it may become.
    for (const char *name : {"KBvK", "KNvK"}) {
        const std::string path = directory + "/" + name;
        if (!write_file(path + ".rtbw", table_bytes(constant_wdl_plan(name, 2, 2)))) return false;
        if (!write_file(path + ".rtbz", table_bytes(constant_dtz_plan(name, 0)))) return false;
    }
    return true;
}

void use_tables(const std::string &directory) {
    copy_text(settings.syzygy_path, directory.c_str(), sizeof settings.syzygy_path);
    tb_init();
}
