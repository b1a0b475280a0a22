// Setting a position up and writing it out: FEN, the diagram, the keys.
#include "board/position.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/output.h"
#include "base/text.h"
#include "board/attacks.h"
#include "board/game.h"

// clang-format off
const char SQUARE_NAMES[64][3] = {
    "a1", "b1", "c1", "d1", "e1", "f1", "g1", "h1", "a2", "b2", "c2", "d2", "e2", "f2", "g2", "h2",
    "a3", "b3", "c3", "d3", "e3", "f3", "g3", "h3", "a4", "b4", "c4", "d4", "e4", "f4", "g4", "h4",
    "a5", "b5", "c5", "d5", "e5", "f5", "g5", "h5", "a6", "b6", "c6", "d6", "e6", "f6", "g6", "h6",
    "a7", "b7", "c7", "d7", "e7", "f7", "g7", "h7", "a8", "b8", "c8", "d8", "e8", "f8", "g8", "h8"};
// clang-format on

u64 zobrist[1024];

static const char FEN_LETTERS[] = " PNBRQK  pnbrqk";      // by piece code
static const char DIAGRAM_LETTERS[] = " PNBRQK  onbrqk";  // the black pawn is an 'o' here alone

// Marsaglia's two-word multiply-with-carry from a fixed seed, so that keys are the same in every
// run. Words with few one-bits are rejected; the generator goes on all the same.
void init_zobrist() {
    static bool done = false;
    if (done) return;
    done = true;
    u32 z = 1, w = 1;
    for (int i = 0; i < 1024; ++i) {
        u64 candidate;
        do {
            const u32 z1 = (z & 0xFFFF) * 36969 + (z >> 16), w1 = (w & 0xFFFF) * 18000 + (w >> 16);
            const u32 z2 = (z1 & 0xFFFF) * 36969 + (z1 >> 16), w2 = (w1 & 0xFFFF) * 18000 + (w1 >> 16);
            candidate = static_cast<u64>((z1 << 16) + w1) << 32 | ((z2 << 16) + w2);
            z = z2;
            w = w2;
        } while (popcount(candidate) < 24);
        zobrist[i] = candidate;
        for (int j = 0; j < i; ++j)
            if (popcount(candidate ^ zobrist[j]) < 6) {
                print_line("bad hashcode");
                break;
            }
    }
}

void clear_position(Position *position) {
    std::memset(position->board, 0, sizeof position->board);
    std::memset(position->pieces, 0, sizeof position->pieces);
    position->touched = 0;
    position->material[0] = position->material[1] = 0;
    position->fifty = 0;
    position->castling = 0;
    position->king_sq[0] = position->king_sq[1] = NO_SQUARE;
    position->ep_square = NO_SQUARE;
    Game *game = position->game;
    game->game_ply = 0;
    game->ply = 1;
    game->last_move = 0;
}

void place_piece(Position *position, int code, Square square) {
    position->board[square] = static_cast<u8>(code);
    position->pieces[code] |= bit(square);
    position->pieces[code & BLACK_CODE] |= bit(square);
    position->material[colour_of(code)] += MATERIAL_STEP[type_of(code)];
    if (type_of(code) == KING) position->king_sq[colour_of(code)] = static_cast<u8>(square);
}

void remove_piece(Position *position, Square square) {
    const int code = position->board[square], side = colour_of(code);
    if (!code) return;
    position->board[square] = 0;
    position->pieces[code] &= ~bit(square);
    position->pieces[code & BLACK_CODE] &= ~bit(square);
    position->material[side] -= MATERIAL_STEP[type_of(code)];
    if (type_of(code) == KING && position->king_sq[side] == square)
        position->king_sq[side] = static_cast<u8>(position->pieces[code] ? lowest(position->pieces[code]) : NO_SQUARE);
}

void compute_keys(Position *position) {
    position->key = position->pawn_key = 0;
    for (Square square = 0; square < 64; ++square) {
        const int code = position->board[square];
        if (!code) continue;
        position->key ^= zobrist[code * 64 + square];
        if (type_of(code) == PAWN) position->pawn_key ^= zobrist[code * 64 + square];
    }
    if (position->ep_square != NO_SQUARE) position->key ^= zobrist[position->ep_square];
    position->key ^= zobrist[position->castling];
}

static const char *skip_blanks(const char *text) {
    while (*text == ' ') ++text;
    return text;
}

static bool ends_field(char c) { return c == ' ' || c == '\0'; }

// Placement field: pieces from a8 on; a rank with too many entries runs on into the next square
// numbers, as far as the board reaches. Returns the end of the field.
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
            remove_piece(position, square);  // a rank that ran on meets pieces of the next
            place_piece(position, code, square);
        }
        if (file > 1000) file = 1000;
        if (rank < -1000) rank = -1000;
    }
    return text;
}

// En-passant field: the square as given, capture or not. A digit without a letter is added to
// NO_SQUARE and kept so; what lies beyond the byte or the key table counts as no square.
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

// Field by field, with blanks between; a field that is missing leaves its start value. The full-move
// number has no place in the record and is not read.
int set_position_from_fen(Position *position, char *text) {
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
    return 0;
}

int set_position_from_text(Position *position, const char *text) {
    char copy[512];
    copy_text(copy, text, sizeof copy);
    return set_position_from_fen(position, copy);
}

// One right: only with exactly one rook of the side beyond the king on that side.
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

// Six fields or four; the castling letters are KQkq in Chess960 as well.
void position_to_fen(const Position *position, char *out, int with_counters) {
    char *end = out;
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
