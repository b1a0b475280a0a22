// Moves as text: short algebraic notation as the console, the suites and the PGN readers take it, and coordinates as
// UCI gives them.
#include <cstring>
#include <string>

#include "base/settings.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/notation.h"
#include "control/uci.h"
#include "fuzz/fuzz.h"
#include "fuzz/support.h"
#include "support/positions.h"

// One of a move's own texts reads back as that move, so that a game that is written can be loaded.
static void check_some_form_reads_back(Position *position, Move move) {
    char forms[4][MOVE_TEXT];
    move_forms(position, move, forms[0], forms[1], forms[2], forms[3]);
    bool found = false;
    for (const char *form : forms) {
        REQUIRE(std::strlen(form) < MOVE_TEXT);
        char copy[MOVE_TEXT + 1];
        std::strcpy(copy, form);
        Move read;
        found |= count_moves_with_text(position, copy, &read) == 1 && read == move;
    }
    REQUIRE(found);
}

// Reads the word as a person or a PGN file writes it; the move is made on the board.
static void try_san(Position *position, const std::string &word) {
    std::string text = word;
    text.resize(word.size() + 2);  // the reader can lengthen a text by one character
    Move move = 0;
    if (!parse_san(position, text.data(), &move)) return;
    REQUIRE(is_generated_legal_move(position, move));
    check_some_form_reads_back(position, move);
    make_game_move(position, move);
    check_position(position, true);
}

// The word in a "position" command after the same position: what is accepted is a legal move, and written as UCI
// writes it, it is accepted again.
static void try_coordinates(Position *position, const std::string &word) {
    char fen[FEN_SIZE];
    position_to_fen(position, fen, 1);
    const auto move_by_command = [&](const std::string &text) {
        std::string command = std::string("position fen ") + fen + " moves " + text;
        command_dispatch(command.data());
        const Game *game = position->game;
        REQUIRE(game->game_ply <= 1);
        const Move move = game->game_ply ? game->game_stack[0].move : static_cast<Move>(0);
        set_position_from_text(position, fen);
        return move;
    };
    const Move move = move_by_command(word);
    if (!move) return;
    REQUIRE(!position_defect(position) && is_generated_legal_move(position, move));
    const u8 chess960 = settings.chess960;
    for (settings.chess960 = 0; settings.chess960 < 2; ++settings.chess960) {
        settings.uci_mode = 1;
        // A king's step onto a square that castling names as well is written alike.
        const Move again = move_by_command(text_of(position, move));
        if (!chess960 && !settings.chess960) REQUIRE(again == move || flags_of(again));
        REQUIRE(again != 0);
    }
    settings.chess960 = chess960;
}

void fuzz_moves(const std::string &input) {
    Position *position = &fresh_engine()->position;
    if (input.empty()) return;
    const int flags = input[0];
    std::vector<std::string> lines = lines_of(input.substr(1));
    if (lines.empty()) return;
    if (!lines[0].empty()) set_position_from_text(position, lines[0].c_str());
    for (std::size_t i = 1; i < lines.size(); ++i) {
        settings.chess960 = flags & 1;
        settings.uci_mode = flags & 2;
        if (lines[i].find('\0') != std::string::npos) continue;
        try_san(position, lines[i]);
        if (flags & 4) try_coordinates(position, lines[i].substr(0, lines[i].find(' ')));
    }
    check_position(position, true);
}
