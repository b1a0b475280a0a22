#include "selfplay_start.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/attacks.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "formats/epd.h"
#include "formats/text_file.h"
#include "search/thread_state.h"

static constexpr int LINE_SIZE = 512;

std::vector<std::string> read_openings(const char *path) {
    std::vector<std::string> lines;
    std::FILE *file = std::fopen(path, "rb");
    if (!file) return lines;
    char line[LINE_SIZE];
    while (read_text_line(line, sizeof line, file)) {
        EpdLine epd;
        if (is_remark(line)) continue;
        split_epd_line(line, &epd);
        set_position_from_text(&root_thread_state->position, epd.fen);
        if (!position_defect(&root_thread_state->position)) lines.emplace_back(epd.fen);
    }
    if (!close_input(file, path)) lines.clear();
    return lines;
}

bool is_in_check(const Position *position) {
    return is_square_attacked(position, position->king_sq[position->stm], position->stm ^ 1);
}

int list_legal_moves(Move *moves) {
    Position *position = &root_thread_state->position;
    MoveEntry list[MOVE_LIST_SIZE];
    generate_all(position, list);
    int count = 0;
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST && count < MAX_LEGAL_MOVES; ++entry)
        if (is_move_legal(position, position->stm, entry->move)) moves[count++] = entry->move;
    return count;
}

Move random_legal_move(Random *random) {
    Move moves[MAX_LEGAL_MOVES];
    const int count = list_legal_moves(moves);
    return count ? moves[random_below(random, count)] : Move{0};
}

bool set_random_opening(const std::vector<std::string> &lines, int random_plies, Random *random) {
    Position *position = &root_thread_state->position;
    const char *text =
        lines.empty() ? STARTPOS_FEN
                      : lines[static_cast<std::size_t>(random_below(random, static_cast<int>(lines.size())))].c_str();
    set_position_from_text(position, text);
    for (int ply = 0; ply < random_plies; ++ply) {
        const Move move = random_legal_move(random);
        if (!move) return false;
        make_game_move(position, move);
    }
    return true;
}

// The pieces of one side of an ending, kings and pawns left out; values in pawns.
struct EndingPieces {
    const char *letters;
    int value;
};
// The groups are what the network's material count tells apart, so that each of its heads for few
// pieces gets its share.
static constexpr EndingPieces NO_PIECES[] = {{"", 0}};
static constexpr EndingPieces SINGLE_PIECES[] = {{"N", 3}, {"B", 3}, {"R", 5}, {"R", 5}, {"Q", 9}};
static constexpr EndingPieces PIECE_PAIRS[] = {{"NN", 6}, {"BN", 6},  {"BB", 6},  {"RN", 8},
                                               {"RB", 8}, {"RR", 10}, {"QQ", 18}, {"R", 5}};
static constexpr int MAX_PAWNS = 7;
static constexpr int MATERIAL_MARGIN = 2;  // pawns

template <std::size_t N>
static const EndingPieces &draw_pieces(const EndingPieces (&table)[N], Random *random) {
    return table[random_below(random, static_cast<int>(N))];
}

struct EndingSide {
    EndingPieces pieces;
    int pawns;
};

static EndingSide draw_side(EndingKind kind, Random *random) {
    EndingSide side = {};
    switch (kind) {
        case EndingKind::PAWNS: side.pieces = draw_pieces(NO_PIECES, random); break;
        case EndingKind::ONE_PIECE: side.pieces = draw_pieces(SINGLE_PIECES, random); break;
        case EndingKind::TWO_PIECES: side.pieces = draw_pieces(PIECE_PAIRS, random); break;
    }
    side.pawns = random_below(random, MAX_PAWNS + 1);
    return side;
}

EndingKind draw_ending_kind(Random *random) {
    const int draw = random_below(random, 100);
    return draw < 50 ? EndingKind::PAWNS : draw < 82 ? EndingKind::ONE_PIECE : EndingKind::TWO_PIECES;
}

static int total_value(const EndingSide &side) { return side.pieces.value + side.pawns; }

// Both sides, close in value and with a pawn on the board. Now and then one side has a piece less,
// and pawns for it.
static void draw_material(EndingKind kind, EndingSide *sides, Random *random) {
    const EndingKind weaker = kind == EndingKind::TWO_PIECES ? EndingKind::ONE_PIECE : EndingKind::PAWNS;
    do {
        sides[0] = draw_side(kind, random);
        sides[1] = draw_side(one_in(random, 4) ? weaker : kind, random);
    } while (std::abs(total_value(sides[0]) - total_value(sides[1])) > MATERIAL_MARGIN ||
             sides[0].pawns + sides[1].pawns == 0);
    if (one_in(random, 2)) std::swap(sides[0], sides[1]);
}

static Square empty_square(const Position *position, Random *random) {
    Square square;
    do square = random_below(random, 64);
    while (position->board[square]);
    return square;
}

// Pawns are more often near their start, and seldom two on a file.
static Square pawn_square(const Position *position, int side, Random *random) {
    for (;;) {
        const int rank = 1 + std::min(random_below(random, 6), random_below(random, 6));
        const int file = random_below(random, 8);
        const Square square = (side ? 7 - rank : rank) * 8 + file;
        if (position->board[square]) continue;
        const Bitboard own = position->pieces[piece_code(side, PAWN)];
        if (own & FILE_A << file && !one_in(random, 5)) continue;
        return square;
    }
}

static void place_side(Position *position, int side, const EndingSide &material, Random *random) {
    static const char LETTERS[] = " PNBRQK";
    for (int i = 0; i < material.pawns; ++i)
        place_piece(position, piece_code(side, PAWN), pawn_square(position, side, random));
    for (const char *letter = material.pieces.letters; *letter; ++letter) {
        const int type = static_cast<int>(std::strchr(LETTERS, *letter) - LETTERS);
        place_piece(position, piece_code(side, type), empty_square(position, random));
    }
    place_piece(position, piece_code(side, KING), empty_square(position, random));
}

void set_random_ending(EndingKind kind, Random *random) {
    Position *position = &root_thread_state->position;
    Move moves[MAX_LEGAL_MOVES];
    for (;;) {
        EndingSide sides[2];
        draw_material(kind, sides, random);
        set_position_from_text(position, "8/8/8/8/8/8/8/8 w - -");
        for (int side = WHITE; side <= BLACK; ++side) place_side(position, side, sides[side], random);
        position->stm = static_cast<u8>(random_below(random, 2));
        compute_keys(position);
        if (!position_defect(position) && !is_in_check(position) && list_legal_moves(moves) > 0) return;
    }
}

struct PieceCounts {
    int pawns, knights, bishops, heavy;
};

static PieceCounts count_pieces(const Position *position, int side) {
    const Bitboard *sets = position->pieces + side * BLACK_CODE;
    return {popcount(sets[PAWN]), popcount(sets[KNIGHT]), popcount(sets[BISHOP]), popcount(sets[ROOK] | sets[QUEEN])};
}

static int minors(const PieceCounts &counts) { return counts.knights + counts.bishops; }
static bool is_bare(const PieceCounts &counts) { return counts.pawns + minors(counts) + counts.heavy == 0; }

bool is_dead_material(const Position *position) {
    const PieceCounts white = count_pieces(position, WHITE), black = count_pieces(position, BLACK);
    if (white.pawns || black.pawns || white.heavy || black.heavy) return false;
    if (minors(white) <= 1 && minors(black) <= 1) return true;
    const auto two_knights = [](const PieceCounts &counts) { return counts.knights == 2 && counts.bishops == 0; };
    return (two_knights(white) && is_bare(black)) || (two_knights(black) && is_bare(white));
}

bool is_answered_by_rule(const Position *position) {
    if (is_dead_material(position)) return true;
    const PieceCounts white = count_pieces(position, WHITE), black = count_pieces(position, BLACK);
    if (!is_bare(white) && !is_bare(black)) return false;
    const PieceCounts &strong = is_bare(white) ? black : white;
    if (strong.heavy) return true;
    const bool bishop_and_knight = strong.bishops == 1 && strong.knights == 1 && strong.pawns == 0;
    return bishop_and_knight || (strong.pawns == 1 && minors(strong) == 0);
}
