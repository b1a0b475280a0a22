// tarn-referee: the rules of chess for the match runner, one game at a time. Reads requests and writes
// one line for each, until "quit" or the end of input.
//
//   new startpos | new FEN            the game starts here      STATE FEN
//   new960 startpos | new960 FEN      the same, with castling written as king takes rook
//   move e2e4                         plays a move              e4 STATE FEN
//   san Nf3                           what move this is         g1f3
//   moves                             the legal moves           a2a3 a2a4 ...
//
// STATE is ongoing, mate, stalemate, material, threefold or fifty. A request that can't be granted
// is answered by "error" and the reason; it changes nothing, but a position that can't be played ends the
// game before it. The draws are those of the laws of chess: castling does not restart the count of fifty
// moves, and an en-passant square counts for a repetition only when a pawn can legally capture there.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/settings.h"
#include "base/text.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "board/notation.h"
#include "search/thread_state.h"

namespace {

enum class GameState { ONGOING, MATE, STALEMATE, MATERIAL, THREEFOLD, FIFTY };
constexpr const char *STATE_NAMES[] = {"ongoing", "mate", "stalemate", "material", "threefold", "fifty"};
constexpr int REQUEST_SIZE = 1024;  // longer requests are refused
constexpr u64 BLACK_TO_MOVE = 0x9E3779B97F4A7C15ULL;

struct PlayedGame {
    bool started;
    int half_moves;         // since the last capture or pawn move, 0 at the least
    int move_number;        // as FEN counts them
    std::vector<u64> keys;  // of every position of the game, for repetitions
    std::vector<Move> legal;
};

Position *board() { return &root_thread_state->position; }

bool in_check() {
    const Position *position = board();
    return is_square_attacked(position, position->king_sq[position->stm], position->stm ^ 1);
}

std::vector<Move> legal_moves() {
    std::vector<Move> moves;
    Position *position = board();
    MoveEntry list[MOVE_LIST_SIZE];
    generate_all(position, list);
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry)
        if (is_move_legal(position, position->stm, entry->move)) moves.push_back(entry->move);
    return moves;
}

bool is_pawn_capture(Move move) {
    return type_of(board()->board[from_of(move)]) == PAWN && file_of(from_of(move)) != file_of(to_of(move));
}

// Equal for positions that the laws of chess call the same.
u64 repetition_key(const PlayedGame &game) {
    const Position *position = board();
    u64 key = position->key ^ (position->stm == BLACK ? BLACK_TO_MOVE : 0);
    bool can_capture = false;
    for (Move move : game.legal) can_capture |= to_of(move) == position->ep_square && is_pawn_capture(move);
    if (position->ep_square < NO_SQUARE && !can_capture) key ^= zobrist[position->ep_square];
    return key;
}

// No series of legal moves can mate: bare kings, one minor piece, or bishops of one square colour.
bool is_material_insufficient() {
    const Position *position = board();
    const auto both = [position](int type) {
        return position->pieces[type] | position->pieces[piece_code(BLACK, type)];
    };
    if (both(PAWN) | both(ROOK) | both(QUEEN)) return false;
    const Bitboard knights = both(KNIGHT), bishops = both(BISHOP);
    if (popcount(knights | bishops) <= 1) return true;
    return !knights && (!(bishops & COLOUR_OF_A1) || !(bishops & COLOUR_OF_H1));
}

GameState game_state(const PlayedGame &game) {
    if (game.legal.empty()) return in_check() ? GameState::MATE : GameState::STALEMATE;
    if (is_material_insufficient()) return GameState::MATERIAL;
    int times = 0;
    for (u64 key : game.keys) times += key == game.keys.back();
    if (times >= 3) return GameState::THREEFOLD;
    return game.half_moves >= 100 ? GameState::FIFTY : GameState::ONGOING;
}

// "STATE FEN" of the position on the board.
void print_state(const PlayedGame &game) {
    char fen[FEN_SIZE];
    position_to_fen(board(), fen, 0);
    std::printf("%s %s %d %d\n", STATE_NAMES[static_cast<int>(game_state(game))], fen, game.half_moves,
                game.move_number);
}

// Field `index` of a text with blanks between, as a number; `otherwise` when there is none.
int number_field(const char *text, int index, int otherwise) {
    for (; index > 0; --index) {
        text += std::strcspn(text, " ");
        text += std::strspn(text, " ");
    }
    return *text >= '0' && *text <= '9' ? integer_in_range(text, 0, INT_MAX) : otherwise;
}

void start_game(PlayedGame *game, const char *text, bool chess960) {
    if (!std::strcmp(text, "startpos")) text = STARTPOS_FEN;
    settings.chess960 = chess960;
    board()->stm = WHITE;
    set_position_from_text(board(), text);
    game->started = false;
    if (const char *defect = position_defect(board())) {
        std::printf("error %s\n", defect);
        return;
    }
    game->started = true;
    const int half_moves = number_field(text, 4, 0), move_number = number_field(text, 5, 1);
    game->half_moves = half_moves > 0 && half_moves < 1000 ? half_moves : 0;
    game->move_number = move_number > 0 && move_number < 100000 ? move_number : 1;
    game->legal = legal_moves();
    game->keys = {repetition_key(*game)};
    print_state(*game);
}

std::string coordinates_of(Move move) {
    char text[MOVE_TEXT];
    move_to_text(board(), board()->stm, move, text);
    return text;
}

// Standard algebraic notation without a check sign: the shortest text that no other legal move shares,
// the file before the rank.
std::string san_of(const PlayedGame &game, Move move) {
    const Position *position = board();
    const Square from = from_of(move), to = to_of(move);
    const int code = position->board[from], type = type_of(code);
    const bool captures = position->board[to] != 0;
    if (type == KING && flags_of(move)) return move & CASTLE_KINGSIDE ? "O-O" : "O-O-O";
    std::string text;
    if (type == PAWN) {
        if (is_pawn_capture(move)) text = std::string(1, SQUARE_NAMES[from][0]) + "x";
        text += SQUARE_NAMES[to];
        if (flags_of(move)) text += std::string("=") + " PNBRQK"[promotion_type(flags_of(move))];
        return text;
    }
    bool rival = false, on_file = false, on_rank = false;
    for (Move other : game.legal) {
        const Square start = from_of(other);
        if (to_of(other) != to || start == from || position->board[start] != code) continue;
        rival = true;
        on_file |= file_of(start) == file_of(from);
        on_rank |= rank_of(start) == rank_of(from);
    }
    text = " PNBRQK"[type];
    if (rival && (!on_file || on_rank)) text += SQUARE_NAMES[from][0];
    if (rival && on_file) text += SQUARE_NAMES[from][1];
    return text + (captures ? "x" : "") + SQUARE_NAMES[to];
}

void play_move(PlayedGame *game, const char *text) {
    for (Move move : game->legal) {
        if (coordinates_of(move) != text) continue;
        Position *position = board();
        std::string san = san_of(*game, move);
        const bool castling = type_of(position->board[from_of(move)]) == KING && flags_of(move);
        const bool resets =
            (position->board[to_of(move)] && !castling) || type_of(position->board[from_of(move)]) == PAWN;
        game->half_moves = resets ? 0 : game->half_moves + 1;
        game->move_number += position->stm == BLACK;
        make_game_move(position, move);
        game->legal = legal_moves();
        game->keys.push_back(repetition_key(*game));
        if (in_check()) san += game->legal.empty() ? "#" : "+";
        std::printf("%s ", san.c_str());
        print_state(*game);
        return;
    }
    std::printf("error illegal move\n");
}

// Algebraic notation as people and programs write it, brought to one spelling: no signs after the move
// ("+", "#", "!", "?"), no "x", "-" and "=", castling with the letter O.
std::string plain_san(const char *text) {
    std::string plain;
    const bool castling = text[0] == 'O' || text[0] == '0';
    for (; *text; ++text) {
        if (std::strchr("+#!?x-=", *text)) continue;
        plain += castling && *text == '0' ? 'O' : *text;
    }
    return plain;
}

// True when `plain` names the move: its shortest form, or one with more or less of its square.
bool is_san_of(const PlayedGame &game, Move move, const std::string &plain) {
    if (plain_san(san_of(game, move).c_str()) == plain) return true;
    const int type = type_of(board()->board[from_of(move)]);
    if (type == PAWN || (type == KING && flags_of(move))) return false;
    const std::string from = SQUARE_NAMES[from_of(move)], to = SQUARE_NAMES[to_of(move)];
    const std::string letter(1, " PNBRQK"[type]);
    return plain == letter + to || plain == letter + from[0] + to || plain == letter + from[1] + to ||
           plain == letter + from + to;
}

void read_san(const PlayedGame &game, const char *text) {
    const std::string plain = plain_san(text);
    std::vector<Move> found;
    for (Move move : game.legal)
        if (is_san_of(game, move, plain)) found.push_back(move);
    if (found.size() == 1) std::printf("%s\n", coordinates_of(found[0]).c_str());
    else std::printf(found.empty() ? "error no such move\n" : "error ambiguous move\n");
}

void print_moves(const PlayedGame &game) {
    std::string line;
    for (Move move : game.legal) {
        if (!line.empty()) line += ' ';
        line += coordinates_of(move);
    }
    std::printf("%s\n", line.c_str());
}

// One request without its line end. False for "quit".
bool answer(PlayedGame *game, char *line) {
    const std::size_t length = std::strcspn(line, " ");
    const std::string word(line, length);
    const char *rest = line + length + std::strspn(line + length, " ");
    if (word == "quit") return false;
    if (word == "new" || word == "new960") start_game(game, rest, word == "new960");
    else if (word != "move" && word != "san" && word != "moves") std::printf("error unknown request\n");
    else if (!game->started) std::printf("error no game\n");
    else if (word == "move") play_move(game, rest);
    else if (word == "san") read_san(*game, rest);
    else print_moves(*game);
    return true;
}

}  // namespace

int main() {
    set_start_values();
    settings.uci_mode = 1;
    root_thread_state = allocate_thread_state(MASTER_THREAD_ID);
    if (!root_thread_state) return 1;
    init_attack_tables();
    init_zobrist();

    PlayedGame game = {};
    char line[REQUEST_SIZE];
    bool too_long = false;
    while (std::fgets(line, sizeof line, stdin)) {
        const bool complete = std::strchr(line, '\n') != nullptr || std::feof(stdin);
        line[std::strcspn(line, "\r\n")] = '\0';
        // The rest of a request that does not fit is read and dropped.
        if (complete && too_long) std::printf("error request too long\n");
        else if (complete && !answer(&game, line)) break;
        too_long = !complete;
        std::fflush(stdout);
    }
    free_thread_state(root_thread_state);
    return 0;
}
