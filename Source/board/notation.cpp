// Printing moves and reading them.
#include "board/notation.h"

#include <cctype>
#include <cstring>
#include <initializer_list>

#include "base/output.h"
#include "base/settings.h"
#include "board/attacks.h"
#include "board/move_tests.h"
#include "board/moves.h"

static bool is_castling_text(Move move) {
    const int rank = rank_of(from_of(move));
    return flags_of(move) && (rank == 0 || rank == 7);
}

static char *append(char *end, const char *text) {
    while (*text) *end++ = *text++;
    *end = '\0';
    return end;
}

static Square castling_rook_square(const Position *position, int side, Move move) {
    const Square rook = position->castle_rook[2 * side + !(move & CASTLE_KINGSIDE)];
    return rook == NO_SQUARE ? to_of(move) : rook;
}

void move_to_text(const Position *position, int side, Move move, char *out) {
    const bool castling = is_castling_text(move);
    Square to = to_of(move);
    if (castling && settings.chess960) to = castling_rook_square(position, side, move);
    char *end = append(append(out, SQUARE_NAMES[from_of(move)]), SQUARE_NAMES[to]);
    if (!flags_of(move) || castling) return;
    const int type = promotion_type(flags_of(move));
    if (settings.uci_mode) {
        *end++ = " pnbrqk"[type];
    } else {
        *end++ = '=';
        *end++ = " PNBRQK"[type];
    }
    *end = '\0';
}

void move_to_coord(const Position *position, int side, Move move, char *out) {
    if (move) move_to_text(position, side, move, out);
    else std::strcpy(out, "null");
}

// A promotion ends with "=Q" in all three forms. The short form of a capture is the coordinate text with an 'x'.
static void pawn_forms(const Position *position, Move move, char *coord, char *san, char *by_file) {
    const Square to = to_of(move);
    coord[4] = '\0';
    if (position->board[to] || to == position->ep_square) {
        std::strcpy(san, coord);
        san[1] = 'x';
        by_file[0] = coord[0];
        by_file[1] = coord[2];
        by_file[2] = '\0';
    } else {
        std::strcpy(san, SQUARE_NAMES[to]);
    }
    if (flags_of(move)) {
        const char suffix[3] = {'=', " PNBRQK"[promotion_type(flags_of(move))], '\0'};
        std::strcat(coord, suffix);
        std::strcat(san, suffix);
        std::strcat(by_file, suffix);
    }
}

static void castling_forms(const Position *position, Move move, char *coord, char *san, char *by_file, char *by_rank) {
    const bool kingside = (move & CASTLE_KINGSIDE) != 0;
    const char *from = SQUARE_NAMES[from_of(move)], *goal = SQUARE_NAMES[to_of(move)];
    const char *rook = SQUARE_NAMES[castling_rook_square(position, position->stm, move)];
    std::strcpy(san, kingside ? "o-o" : "o-o-o");
    std::strcpy(by_file, kingside ? "O-O" : "O-O-O");
    // Both notations, king's target and own rook, so that the parser accepts either.
    append(append(coord, from), settings.chess960 ? rook : goal);
    append(append(by_rank, from), settings.chess960 ? goal : rook);
}

// Other pieces of the same type and colour that reach the square; pins are ignored.
static Bitboard rivals_of(const Position *position, int code, Square from, Square to) {
    const Bitboard own = position->pieces[code] & ~bit(from);
    if (!own) return 0;
    const Bitboard occupancy = occupied(*position) | bit(to);
    Bitboard reach = 0;
    const int type = type_of(code);
    if (type == KNIGHT) reach = knight_attacks[to];
    if (type == BISHOP || type == QUEEN) reach |= bishop_attacks(to, occupancy);
    if (type == ROOK || type == QUEEN) reach |= rook_attacks(to, occupancy);
    return own & reach;
}

static void piece_forms(const Position *position, Move move, char *san, char *by_file, char *by_rank) {
    const Square from = from_of(move), to = to_of(move);
    const int code = position->board[from];
    const char letter = " PNBRQK"[type_of(code)];
    san[0] = by_file[0] = by_rank[0] = letter;
    by_file[1] = SQUARE_NAMES[from][0];
    by_rank[1] = SQUARE_NAMES[from][1];
    san[1] = by_file[2] = by_rank[2] = '\0';
    // Only a rival on the same file or rank lengthens the short form; with other rivals it is ambiguous.
    const Bitboard rivals = rivals_of(position, code, from, to);
    if (rivals & FILE_A << file_of(from)) std::strcpy(san, by_rank);
    else if (rivals & RANK_1 << (from & 56)) std::strcpy(san, by_file);
    for (char *form : {san, by_file, by_rank}) {
        if (position->board[to]) std::strcat(form, "x");
        std::strcat(form, SQUARE_NAMES[to]);
    }
}

// True if the move gives direct or discovered check. For castling only the king is considered.
static bool gives_check(Position *position, Move move) {
    const Square from = from_of(move), to = to_of(move);
    const int side = position->stm;
    if (position->king_sq[side ^ 1] == NO_SQUARE) return false;
    int type = type_of(position->board[from]);
    if (type == PAWN && flags_of(move)) type = promotion_type(flags_of(move));
    return attacks_king_after(position, side, type, from, to);
}

void move_forms(Position *position, Move move, char *coord, char *san, char *by_file, char *by_rank) {
    san[0] = by_file[0] = by_rank[0] = '\0';
    move_to_coord(position, position->stm, move, coord);
    if (!move) return;
    const int type = type_of(position->board[from_of(move)]);
    if (type == PAWN) pawn_forms(position, move, coord, san, by_file);
    else if (type == KING && flags_of(move)) castling_forms(position, move, coord, san, by_file, by_rank);
    else piece_forms(position, move, san, by_file, by_rank);
    if (gives_check(position, move))
        for (char *form : {coord, san, by_file, by_rank}) std::strcat(form, "+");
}

// Normalises input to the spelling of the forms: no check sign, '=' before an upper-case promotion letter, lower-case
// o in castling.
static void normalise_move_text(char *text) {
    if (char *check = std::strchr(text, '+')) *check = '\0';
    const std::size_t length = std::strlen(text);
    if (length > 0) {
        char *last = text + length - 1;
        const char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(*last)));
        if (std::strchr("BNQR", upper)) {
            if (length > 1 && last[-1] != '=') {
                *last++ = '=';
                last[1] = '\0';
            }
            *last = upper;
        }
    }
    for (char *c = text; *c; ++c)
        if (*c == 'O' || *c == '0') *c = 'o';
}

// Compares the text with the four forms of every legal move.
int count_moves_with_text(Position *position, char *text, Move *last) {
    *last = 0;
    normalise_move_text(text);
    if (position->king_sq[position->stm] == NO_SQUARE) return 0;
    MoveEntry list[MOVE_LIST_SIZE];
    generate_all(position, list);
    int matches = 0;
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry) {
        if (type_of(entry->captured) == KING) continue;  // possible in positions that cannot be searched
        char forms[4][MOVE_TEXT];
        move_forms(position, entry->move, forms[0], forms[1], forms[2], forms[3]);
        bool equal = false;
        for (char *form : forms) {
            if (char *check = std::strchr(form, '+')) *check = '\0';
            equal |= !std::strcmp(form, text);
        }
        if (equal && is_move_legal(position, position->stm, entry->move)) {
            ++matches;
            *last = entry->move;
        }
    }
    return matches;
}

bool parse_san(Position *position, char *text, Move *out) {
    const int matches = count_moves_with_text(position, text, out);
    if (matches == 2) print_plain("ambiguous move\n");
    return matches == 1;
}
