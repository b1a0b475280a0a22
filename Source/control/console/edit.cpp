// The board editor and the mirror.
#include "control/console/edit.h"

#include <cctype>
#include <cstring>

#include "base/output.h"
#include "board/fen.h"
#include "control/input_lines.h"
#include "search/thread_state.h"

// Clears the game record: no moves to take back or redo, and no repetitions.
static void forget_game(ThreadState *master) {
    master->game.game_ply = 0;
    master->game.ply = 1;
    master->game.last_move = 0;
    master->position.touched = 0;
    master->game.game_stack[0] = GameRecord{};
    master->game.game_stack[1] = GameRecord{};
}

// One word as in "Pa2": the named piece replaces what is on the square. Any other letter empties the square.
// False if the square is not on the board.
static bool edit_square(Position *position, int colour, const char *word) {
    static const char LETTERS[] = " PNBRQK";
    if (std::strlen(word) < 3) return false;
    const int file = word[1] - 'a', rank = word[2] - '1';
    if (file < 0 || file > 7 || rank < 0 || rank > 7) return false;
    const Square square = rank * 8 + file;
    remove_piece(position, square);
    const char *letter = std::strchr(LETTERS + 1, std::toupper(static_cast<unsigned char>(word[0])));
    if (letter) place_piece(position, piece_code(colour, static_cast<int>(letter - LETTERS)), square);
    return true;
}

// A line of pieces: its first word gives their colour, and the side to move too.
static void edit_line(Position *position, char *line) {
    if (line[0] != 'w' && line[0] != 'b') return;
    const int colour = line[0] == 'b';
    position->stm = static_cast<u8>(colour);
    char *word = line + std::strcspn(line, " ");
    for (;;) {
        word += std::strspn(word, " ");
        const std::size_t length = std::strcspn(word, " ");
        if (!length) return;
        char *next = word + length;
        if (*next) *next++ = '\0';
        if (!edit_square(position, colour, word)) return;
        word = next;
    }
}

void edit_board() {
    print_plain(
        "\n\n"
        ".                    end edit\n"
        "#                    clear board\n"
        "w  Pa2 Pb2 Kc2       white, pieces\n"
        "b  Pa7 Pb7 Kc7       black, pieces\n");
    ThreadState *master = root_thread_state;
    Position *position = &master->position;
    static char line[INPUT_LINE_SIZE];
    while (wait_for_input_line(line, sizeof line)) {
        char *text = line + std::strspn(line, " \t");
        for (std::size_t length = std::strlen(text); length && std::strchr(" \t\r", text[length - 1]);)
            text[--length] = '\0';
        if (!std::strcmp(text, ".")) break;
        if (text[0] == '#') clear_position(position);
        else edit_line(position, text);
    }
    // Castling rights follow from the pieces as they are now: an old right must not outlive its rook.
    position->castling = 0;
    set_castling_from_text(position, "KQkq");
    position->ep_square = NO_SQUARE;
    compute_keys(position);
    forget_game(master);
    print_board(position);
}

// The keys are not recomputed: a reversed position is only for inspecting its evaluation.
void reverse_board() {
    ThreadState *master = root_thread_state;
    Position *position = &master->position;
    u8 board[64];
    std::memcpy(board, position->board, sizeof board);
    clear_position(position);
    for (Square square = 0; square < 64; ++square)
        if (const int code = board[square ^ 56]) place_piece(position, code ^ BLACK_CODE, square);
    position->stm ^= 1;
    set_castling_from_text(position, "");
    forget_game(master);
    print_board(position);
}
