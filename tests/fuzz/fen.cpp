// Positions from text: FEN and lines of EPD.
#include <cstring>
#include <string>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "formats/epd.h"
#include "fuzz/fuzz.h"
#include "fuzz/support.h"
#include "search/search_state.h"
#include "support/positions.h"
#include "tools/epd_suite.h"
#include "tools/training_data.h"

// Every legal move can be made and taken back, which restores the position.
static void try_moves(Position *position) {
    for (const Move move : legal_moves(position)) {
        const Position before = *position;
        REQUIRE(is_generated_legal_move(position, move));
        make_move(position, move);
        check_position(position, true);
        REQUIRE(!position_defect(position));
        unmake_move(position);
        REQUIRE(std::memcmp(before.board, position->board, sizeof before.board) == 0);
        REQUIRE(before.key == position->key && before.pawn_key == position->pawn_key);
        REQUIRE(before.castling == position->castling && before.ep_square == position->ep_square);
        REQUIRE(before.fifty == position->fifty && before.stm == position->stm);
    }
}

static void try_position(Position *position) {
    check_position(position, true);
    check_text_is_stable(position);
    if (!position_defect(position)) try_moves(position);
}

static void check_field(const char (&field)[EPD_FIELD]) { REQUIRE(std::memchr(field, 0, EPD_FIELD) != nullptr); }

// The line's own answers are judged as those of a search whose answer is the first legal move.
static void try_epd(const std::string &line, Position *position) {
    EpdLine epd;
    split_epd_line(line.c_str(), &epd);
    check_field(epd.fen), check_field(epd.bm), check_field(epd.am), check_field(epd.ce);
    check_field(epd.sc), check_field(epd.gr), check_field(epd.id), check_field(epd.c0);
    for (const char *field : {epd.bm, epd.am, epd.c0}) REQUIRE(!std::strchr(field, ' '));
    set_position_from_fen(position, epd.fen);
    try_position(position);

    TrainRecord record;
    if (record_from_epd_line(line.c_str(), &record)) {
        float target;
        REQUIRE(record.sc >= -TRAIN_SCORE_LIMIT && record.sc <= TRAIN_SCORE_LIMIT);
        REQUIRE(record.gr_score >= -TRAIN_SCORE_LIMIT && record.gr_score <= TRAIN_SCORE_LIMIT);
        REQUIRE(set_position_from_record(&record, position, &target));
        REQUIRE(target >= 0.0f && target <= 1.0f);
        compute_keys(position);
    }
    if (position_defect(position)) return;
    const std::vector<Move> moves = legal_moves(position);
    if (moves.empty()) return;
    published.pv[1] = moves[0];
    SuiteTotals totals{};
    judge_answer(epd.bm, epd.am, epd.c0, &totals);
    REQUIRE(totals.correct >= 0 && totals.best_points >= 0);
    check_position(position, true);
}

void fuzz_fen(const std::string &input) {
    Position *position = &fresh_engine()->position;
    set_position_from_text(position, input.c_str());
    try_position(position);
    std::string line = input;
    try_epd(line, position);
}
