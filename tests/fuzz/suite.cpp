// Files of EPD lines: the test suite tool with short searches, and the console's `get`.
#include <string>

#include "base/settings.h"
#include "base/text.h"
#include "board/fen.h"
#include "board/move_tests.h"
#include "control/console/console.h"
#include "fuzz/fuzz.h"
#include "fuzz/support.h"
#include "support/files.h"
#include "support/positions.h"
#include "tools/epd_suite.h"

static constexpr const char *SUITE = "test.epd";  // the name that `get` reads
static constexpr const char *RESULTS = "results.epd";
static constexpr const char *EXPANSION = "tmp_0.epd";
static constexpr std::size_t MOST_LINES = 20;

// A text without a readable side to move keeps the side of the position before it.
static bool names_side(const std::string &fen) {
    const std::size_t at = fen.find_first_not_of(' ', fen.find(' '));
    return at != std::string::npos && (fen[at] == 'w' || fen[at] == 'b');
}

// A result is "FEN bm MOVE; ce N;", and the move is legal in the position.
static void check_results(Position *position) {
    for (const std::string &line : lines_of(read_file(RESULTS))) {
        const std::size_t at = line.rfind(" bm ");
        REQUIRE(at != std::string::npos && line.find("; ce ", at) != std::string::npos);
        if (!names_side(line.substr(0, at))) continue;
        set_position_from_text(position, line.substr(0, at).c_str());
        REQUIRE(!position_defect(position));
        const std::string squares = line.substr(at + 4, 4);
        bool found = false;
        for (const Move move : legal_moves(position)) {
            const std::string names = std::string(SQUARE_NAMES[from_of(move)]) + SQUARE_NAMES[to_of(move)];
            found |= names == squares;
        }
        REQUIRE(found);
    }
}

// The positions after the first moves of the lines can be set up and searched.
static void check_expansion(Position *position) {
    for (const std::string &line : lines_of(read_file(EXPANSION))) {
        set_position_from_text(position, line.c_str());
        REQUIRE(!position_defect(position));
    }
}

// The flags: number of lines, whether they are printed, and the mode of the tool.
void fuzz_suite(const std::string &input) {
    Position *position = &fresh_engine()->position;
    if (input.empty()) return;
    std::string text;
    const std::vector<std::string> lines = lines_of(input.substr(1));
    for (std::size_t i = 0; i < lines.size() && i < MOST_LINES; ++i) text += lines[i] + "\n";
    REQUIRE(write_file(SUITE, text));
    copy_text(settings.in_file, SUITE, sizeof settings.in_file);
    settings.max_depth = 2;
    settings.node_limit = 30;
    settings.time_mode = 1;
    settings.move_time = 1000.0f;
    settings.multipv = static_cast<u8>(1 + (input[0] & 3));
    settings.info_min_time = input[0] & 4 ? INFO_NEVER : 0.0f;
    REQUIRE(run_epd_suite(RESULTS, input[0] & 8 ? SUITE_EXPAND : SUITE_ANALYSE));
    check_results(position);
    if (input[0] & 8) check_expansion(position);
    settings.uci_mode = 0;
    for (const char *id : {"get 1", "get", "get STS"}) {
        console_command(id);
        check_position(position, true);
        check_text_is_stable(position);
    }
}
