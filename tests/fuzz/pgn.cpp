// PGN games, through every reader of them: the parser, the scan to EPD, the book maker and the console's `load`.
#include <cstring>
#include <string>

#include "base/settings.h"
#include "base/text.h"
#include "board/fen.h"
#include "book/book_maker.h"
#include "book/book_record.h"
#include "control/console/console.h"
#include "formats/pgn.h"
#include "fuzz/fuzz.h"
#include "fuzz/support.h"
#include "search/search_state.h"
#include "support/files.h"
#include "tools/pgn_scan.h"

static constexpr const char *GAMES = "in.pgn";
static constexpr const char *LINES = "out.epd";
static constexpr const char *BOOK = "tmp_book.bin";

static void try_parser(const std::string &input) {
    static PgnGame game;
    game = PgnGame{};
    std::string text = input.substr(0, PGN_GAME_TEXT - 1);
    pgn_parse_game(&game, text.data());
    REQUIRE(game.game_number == 1);
    REQUIRE(game.move_count >= 0 && game.move_count <= PGN_MOVES);
    REQUIRE(game.result >= -1 && game.result <= 1);
    REQUIRE(std::memchr(game.fen, 0, sizeof game.fen) != nullptr);
    for (int i = 0; i < game.move_count; ++i) {
        REQUIRE(std::memchr(game.moves[i], 0, sizeof game.moves[i]) != nullptr);
        REQUIRE(!std::strpbrk(game.moves[i], "#+="));
        REQUIRE(game.scores[i] >= -9900 && game.scores[i] <= 9900);
    }
}

// Every line that the scan writes reads back as the same position. Castling rights are not compared: text can't tell
// which of two rooks on one side of the king has the right.
static void try_scan(Position *position) {
    copy_text(settings.pgn_file, GAMES, sizeof settings.pgn_file);
    copy_text(settings.out_file, LINES, sizeof settings.out_file);
    REQUIRE(scan_pgn());
    for (const std::string &line : lines_of(read_file(LINES))) {
        if (line.empty()) continue;
        set_position_from_text(position, line.c_str());
        char fen[FEN_SIZE];
        position_to_fen(position, fen, 0);
        const std::size_t rights = line.find(' ', line.find(' ') + 1);
        REQUIRE(line.substr(0, rights + 1) == std::string(fen).substr(0, rights + 1));
    }
}

// The book is sorted, by position and by falling weight. A move must have won or drawn several games to get into it.
static void try_book_maker(const std::string &input, Position *position) {
    static constexpr int GAMES_FOR_A_MOVE = 6;
    std::string games;
    for (int i = 0; i < GAMES_FOR_A_MOVE; ++i) games += input + "\n\n";
    REQUIRE(write_file(GAMES, games));
    REQUIRE(make_book(position));
    std::FILE *file = std::fopen(BOOK, "rb");
    REQUIRE(file != nullptr);
    BookRecord last{}, record{};
    for (bool first = true; !book_read_record(file, &record); first = false, last = record) {
        REQUIRE(record.learn == 0);
        const Move move = move_of_book_code(record.move);
        REQUIRE(from_of(move) != to_of(move));
        if (first) continue;
        REQUIRE(record.key > last.key || (record.key == last.key && record.weight <= last.weight));
    }
    std::fclose(file);
}

static void try_load(Position *position) {
    set_position_from_text(position, STARTPOS_FEN);
    settings.uci_mode = 0;
    for (const char *tag : {"White", "Event", "FEN"}) {
        console_command((std::string("load ") + GAMES + " " + tag).c_str());
        check_game(position);
    }
}

void fuzz_pgn(const std::string &input) {
    Position *position = &fresh_engine()->position;
    try_parser(input);
    REQUIRE(write_file(GAMES, input));
    try_scan(position);
    try_load(position);
    try_book_maker(input, position);
}
