// FEN: reading and writing; the diagram; the check of a set-up position.
#include "board/fen.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/output.h"
#include "base/text.h"
#include "board/attacks.h"
#include "board/game.h"

static const char FEN_LETTERS[] = " PNBRQK  pnbrqk";      // by piece code
static const char DIAGRAM_LETTERS[] = " PNBRQK  onbrqk";  // the black pawn is an 'o' here alone

static const char *skip_blanks(const char *text) {
    while (*text == ' ') ++text;
    return text;
}

static bool ends_field(char c) { return c == ' ' || c == '\0'; }

// Placement field: pieces from a8 on. A rank with too many entries continues on the following square numbers, as long
// as they are on the board. Returns the end of the field.
static const char *read_placement(Position *position, const char *text) {
    int file = 0, rank = 7;
    for (; !ends_field(*text); ++text) {
        const char c = *text;
        if (c == '/') {
            --rank;
            file = 0;
        } else if (c >= '1' && c <= '8') {
            file += c - '0';
        } else if (const char *letter = std::strchr(FEN_LETTERS + 1, c)) {
            const Square square = rank * 8 + file++;
            const int code = static_cast<int>(letter - FEN_LETTERS);
            if (square < 0 || square > 63) continue;
            remove_piece(position, square);  // an overlong rank can reach pieces of the next one
            place_piece(position, code, square);
        }
        if (file > 1000) file = 1000;
        if (rank < -1000) rank = -1000;
    }
    return text;
}

// En-passant field: the square as given, whether or not a capture is possible. A digit without a letter is added to
// NO_SQUARE; the result is cut to a byte.
static const char *read_en_passant(Position *position, const char *text) {
    int square = NO_SQUARE;
    for (; !ends_field(*text); ++text) {
        const char c = *text;
        if (c >= 'a' && c <= 'h') square = c - 'a';
        else if (c >= '1' && c <= '8') square = (square + (c - '1') * 8) & 255;
    }
    position->ep_square = static_cast<u8>(square);
    return text;
}

// Reads the fields in order, separated by blanks; a missing field keeps its start value. The full-move number is not
// part of the record and is not read.
void set_position_from_fen(Position *position, char *text) {
    clear_position(position);
    const char *at = read_placement(position, text);
    at = skip_blanks(at);
    if (*at == 'w') position->stm = WHITE;
    if (*at == 'b') position->stm = BLACK;
    while (!ends_field(*at)) ++at;

    at = skip_blanks(at);
    char rights[9];
    int length = 0;
    while (length < 8 && !ends_field(*at)) rights[length++] = *at++;
    rights[length] = '\0';
    set_castling_from_text(position, rights);

    at = read_en_passant(position, skip_blanks(at));

    at = skip_blanks(at);
    if (*at >= '0' && *at <= '9') {
        char *end = text + (at - text);
        while (!ends_field(*end)) ++end;
        *end = '\0';
        position->fifty = static_cast<u8>(std::strtol(at, nullptr, 10));
    }
    compute_keys(position);
    Game *game = position->game;
    game->game_ply = 0;
    game->game_stack[0] = GameRecord{};
    game->game_stack[1] = GameRecord{};
}

void set_position_from_text(Position *position, const char *text) {
    char copy[512];
    copy_text(copy, text, sizeof copy);
    set_position_from_fen(position, copy);
}

// Grants one right if exactly one rook of the side is beyond the king on that wing.
static void grant_right(Position *position, int right, Square king) {
    const int side = right >> 1, kingside = !(right & 1);
    const Bitboard rooks = position->pieces[piece_code(side, ROOK)] & (kingside ? ray_east[king] : ray_west[king]);
    if (popcount(rooks) != 1) return;
    const Square rook = lowest(rooks), first = side ? 56 : 0;
    const Square king_goal = first + (kingside ? 6 : 2), rook_goal = first + (kingside ? 5 : 3);
    position->castle_rook[right] = static_cast<u8>(rook);
    position->castling = static_cast<u8>(position->castling | 1 << right);
    position->castle_mask[right] = bit(king) | bit(rook);
    position->castle_path[right] =
        (between[king][king_goal] | between[rook][rook_goal] | bit(king_goal) | bit(rook_goal)) &
        ~(bit(king) | bit(rook));
}

void set_castling_from_text(Position *position, const char *text) {
    for (int right = 0; right < 4; ++right) {
        position->castle_rook[right] = NO_SQUARE;
        position->castle_mask[right] = position->castle_path[right] = 0;
    }
    bool wanted[4] = {};
    for (; *text; ++text) {
        const char c = *text;
        static const char NAMES[] = "KQkq";
        if (const char *name = std::strchr(NAMES, c)) wanted[name - NAMES] = true;
        else if (c >= 'A' && c <= 'H') wanted[c - 'A' > file_of(position->king_sq[WHITE]) ? 0 : 1] = true;
        else if (c >= 'a' && c <= 'h') wanted[c - 'a' > file_of(position->king_sq[BLACK]) ? 2 : 3] = true;
    }
    for (int right = 0; right < 4; ++right) {
        const int side = right >> 1;
        const Square king = position->king_sq[side];
        if (wanted[right] && king != NO_SQUARE && rank_of(king) == (side ? 7 : 0)) grant_right(position, right, king);
    }
}

static char *write_placement(const Position *position, char *end) {
    for (int rank = 7; rank >= 0; --rank) {
        int empty = 0;
        for (int file = 0; file < 8; ++file) {
            const int code = position->board[rank * 8 + file];
            if (!code) {
                ++empty;
                continue;
            }
            if (empty) *end++ = static_cast<char>('0' + empty);
            empty = 0;
            *end++ = FEN_LETTERS[code & 15];
        }
        if (empty) *end++ = static_cast<char>('0' + empty);
        if (rank) *end++ = '/';
    }
    return end;
}

// Writes four fields, or six with counters. The castling letters are KQkq in Chess960 as well.
void position_to_fen(const Position *position, char *out, int with_counters) {
    char *end = write_placement(position, out);
    *end++ = ' ';
    *end++ = position->stm ? 'b' : 'w';
    *end++ = ' ';
    for (int right = 0; right < 4; ++right)
        if (position->castling & 1 << right) *end++ = "KQkq"[right];
    if (!(position->castling & 15)) *end++ = '-';
    *end++ = ' ';
    if (position->ep_square < 64) {
        *end++ = SQUARE_NAMES[position->ep_square][0];
        *end++ = SQUARE_NAMES[position->ep_square][1];
    } else {
        *end++ = '-';
    }
    *end = '\0';
    if (with_counters)
        std::snprintf(end, static_cast<std::size_t>(out + FEN_SIZE - end), " %d %d", position->fifty,
                      position->game->game_ply);
}

void print_board(Position *position) {
    char text[FEN_SIZE + 8 * 18 + 16];
    position_to_fen(position, text, 1);
    char *end = text + std::strlen(text);
    *end++ = '\n';
    for (int rank = 7; rank >= 0; --rank) {
        *end++ = ' ';
        for (int file = 0; file < 8; ++file) {
            const int code = position->board[rank * 8 + file];
            *end++ = ' ';
            *end++ = code ? DIAGRAM_LETTERS[code] : (rank ^ file) & 1 ? '-' : '+';
        }
        *end++ = '\n';
    }
    std::strcpy(end, position->stm ? "black\n" : "white\n");
    print_line(text);
}

const char *position_defect(const Position *position) {
    for (int side = WHITE; side <= BLACK; ++side) {
        if (popcount(position->pieces[piece_code(side, KING)]) != 1) return "each side needs exactly one king";
        if (popcount(position->pieces[side * BLACK_CODE]) > 16) return "a side has more than 16 men";
    }
    if ((position->pieces[PAWN] | position->pieces[BLACK_CODE + PAWN]) & (RANK_1 | RANK_1 << 56))
        return "a pawn stands on the first or last rank";
    const int waiting = position->stm ^ 1;
    if (is_square_attacked(position, position->king_sq[waiting], position->stm))
        return "the side not to move is in check";
    return nullptr;
}
