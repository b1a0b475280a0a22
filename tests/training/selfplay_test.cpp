// Self-play: starts, games, positions from inside searches.
#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/settings.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "board/notation.h"
#include "eval/evaluate.h"
#include "random.h"
#include "search/hash_table.h"
#include "search/node_rate.h"
#include "search/search_state.h"
#include "search/start.h"
#include "search/thread_state.h"
#include "selfplay_game.h"
#include "selfplay_inner.h"
#include "selfplay_start.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

Position *master() { return &root_thread_state->position; }

SelfplayOptions small_options() {
    SelfplayOptions options;
    options.nodes = 300;
    options.max_nodes = 1200;
    options.min_depth = 3;
    options.inner_nodes = 200;
    return options;
}

class Selfplay : public testing::Test {
protected:
    void SetUp() override {
        start_engine();
        ASSERT_TRUE(start_selfplay_worker(0, &seen));
        settings.info_min_time = INFO_NEVER;
        calibration.nps = 1e7f;
        settings.move_time = 1e7f;
    }
    // Games that were played to their end, the first `count` of the seed.
    std::vector<GameRecords> play(const SelfplayOptions &options, u64 seed, int count) {
        std::vector<GameRecords> games;
        for (u64 game = 0; static_cast<int>(games.size()) < count && game < 100; ++game) {
            Random random = make_random(seed, 0, game);
            GameRecords records;
            if (play_selfplay_game(options, {}, &random, &seen, &records)) games.push_back(records);
        }
        EXPECT_EQ(static_cast<int>(games.size()), count);
        return games;
    }
    SeenPositions seen;
};

void set_up(const TrainRecord &record) {
    float target;
    ASSERT_TRUE(set_position_from_record(&record, master(), &target));
    compute_keys(master());
}

std::string bytes_of(const std::vector<TrainRecord> &records) {
    return {reinterpret_cast<const char *>(records.data()), records.size() * sizeof(TrainRecord)};
}

Labelled label(const char *fen) {
    GameRecords records = {};
    set_position_from_text(master(), fen);
    clear_hash_table();
    return search_and_label(3000, 9000, 5, &records);
}

TEST_F(Selfplay, LegalMovesAreCounted) {
    Move moves[MAX_LEGAL_MOVES];
    EXPECT_EQ(list_legal_moves(moves), 20);
    set_position_from_text(master(), "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -");
    EXPECT_EQ(list_legal_moves(moves), 48);
    set_position_from_text(master(), "7k/5Q2/6K1/8/8/8/8/8 b - -");
    EXPECT_EQ(list_legal_moves(moves), 0);
    Random random = {1};
    EXPECT_EQ(random_legal_move(&random), 0);
}

TEST_F(Selfplay, OpeningsVaryWithTheRandomNumbersAlone) {
    std::set<std::string> texts;
    for (u64 game = 0; game < 200; ++game) {
        Random random = make_random(7, 0, game), again = random;
        char first[FEN_SIZE], second[FEN_SIZE];
        ASSERT_TRUE(set_random_opening({}, 6, &random));
        EXPECT_EQ(position_defect(master()), nullptr);
        position_to_fen(master(), first, 0);
        ASSERT_TRUE(set_random_opening({}, 6, &again));
        position_to_fen(master(), second, 0);
        EXPECT_STREQ(first, second);
        texts.insert(first);
    }
    EXPECT_GT(texts.size(), 195u);
}

int pieces_of(int side) {
    const Bitboard *sets = master()->pieces + side * BLACK_CODE;
    return popcount(sets[KNIGHT] | sets[BISHOP] | sets[ROOK] | sets[QUEEN]);
}

TEST_F(Selfplay, RandomEndingsAreLegalAndOfTheirKind) {
    Random random = {11};
    const EndingKind kinds[] = {EndingKind::PAWNS, EndingKind::ONE_PIECE, EndingKind::TWO_PIECES};
    for (int i = 0; i < 3000; ++i) {
        set_random_ending(kinds[i % 3], &random);
        ASSERT_EQ(position_defect(master()), nullptr);
        EXPECT_FALSE(is_in_check(master()));
        EXPECT_EQ(master()->castling, 0);
        // Two pieces can be two equal singles instead: a rook each.
        const int most = std::max(pieces_of(WHITE), pieces_of(BLACK));
        EXPECT_LE(most, i % 3);
        EXPECT_GE(most, i % 3 == 2 ? 1 : i % 3);
        const u64 key = master()->key;
        compute_keys(master());
        EXPECT_EQ(master()->key, key);
    }
}

// The evaluation caches what the network answers and nothing else.
bool engine_answers_by_rule() {
    ThreadState *thread = root_thread_state;
    for (EvalCacheEntry &entry : thread->eval.eval_cache) entry = {};
    evaluate(&thread->eval, thread->position, thread->position.stm, 0, 0);
    const int bank = thread->position.stm == BLACK ? EVAL_CACHE_BANK : 0;
    return thread->eval.eval_cache[(thread->position.key & (EVAL_CACHE_BANK - 1)) + bank].key != thread->position.key;
}

TEST_F(Selfplay, RuleAnswersAreThoseOfTheEvaluation) {
    Random random = {5};
    int by_rule = 0;
    for (int i = 0; i < 5000; ++i) {
        set_position_from_text(master(), "4k3/8/8/8/8/8/8/4K3 w - -");
        for (int men = random_below(&random, 4); men > 0; --men) {
            const Square square = 8 + random_below(&random, 48);
            const int code = piece_code(random_below(&random, 2), PAWN + random_below(&random, 5));
            if (!master()->board[square]) place_piece(master(), code, square);
        }
        compute_keys(master());
        char fen[FEN_SIZE];
        position_to_fen(master(), fen, 0);
        EXPECT_EQ(is_answered_by_rule(master()), engine_answers_by_rule()) << fen;
        by_rule += is_answered_by_rule(master());
    }
    EXPECT_GT(by_rule, 500);
    EXPECT_LT(by_rule, 4500);
}

TEST_F(Selfplay, ScoresAreForTheSideToMove) {
    EXPECT_GT(label("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -").score, -100);
    EXPECT_GT(label("4k3/pppp4/8/8/8/8/PPPP4/1Q2K3 w - -").score, 500);
    EXPECT_LT(label("4k3/pppp4/8/8/8/8/PPPP4/1Q2K3 b - -").score, -500);
}

TEST_F(Selfplay, OnlyQuietPositionsAreLabelledQuiet) {
    EXPECT_TRUE(label(STARTPOS_FEN).quiet);
    EXPECT_FALSE(label("4k3/8/3q4/8/4N3/8/PPP5/4K3 w - -").quiet) << "takes the queen";
    EXPECT_FALSE(label("8/P3k3/8/8/8/8/5p2/4K3 w - -").quiet) << "promotes or takes";
    EXPECT_FALSE(label("4k3/8/8/8/8/8/PP1q4/4K3 w - -").quiet) << "in check";
    EXPECT_FALSE(label("6k1/5ppp/8/8/8/8/5PPP/R5K1 w - -").quiet) << "mates";
    EXPECT_FALSE(label("7k/5Q2/6K1/8/8/8/8/8 b - -").quiet) << "stalemate";
    const Labelled en_passant = label("7k/8/8/3pP3/8/8/8/K7 w - d6");
    EXPECT_EQ(en_passant.best, word_of("e5d6")) << "e5 takes d6";
    EXPECT_FALSE(en_passant.quiet);
}

TEST_F(Selfplay, SameNumbersGiveTheSameGame) {
    const std::vector<GameRecords> first = play(small_options(), 3, 2);
    SeenPositions fresh;
    ASSERT_TRUE(start_selfplay_worker(0, &fresh));
    seen = fresh;
    const std::vector<GameRecords> second = play(small_options(), 3, 2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(bytes_of(first[i].game), bytes_of(second[i].game));
        EXPECT_EQ(bytes_of(first[i].inner), bytes_of(second[i].inner));
    }
    EXPECT_NE(bytes_of(first[0].game), bytes_of(first[1].game));
}

TEST_F(Selfplay, RecordsAreLegalAndQuietAndNoneComesTwice) {
    std::set<std::string> positions;
    std::size_t records = 0;
    for (const GameRecords &game : play(small_options(), 1, 4))
        for (const auto *part : {&game.game, &game.inner})
            for (const TrainRecord &record : *part) {
                set_up(record);
                ASSERT_EQ(position_defect(master()), nullptr);
                EXPECT_FALSE(is_in_check(master()));
                EXPECT_FALSE(is_answered_by_rule(master()));
                EXPECT_LE(std::abs(record.sc), TRAIN_SCORE_LIMIT);
                EXPECT_EQ(record.ce, record.sc);
                positions.insert(std::string(reinterpret_cast<const char *>(&record), 34));
                ++records;
            }
    EXPECT_GT(records, 200u);
    EXPECT_EQ(positions.size(), records);
}

// The quiescence search reads no hash entry at its root, so this holds exactly.
TEST_F(Selfplay, InnerPositionsAreQuietAndCarryTheirScoreAsResult) {
    std::size_t count = 0;
    for (const GameRecords &game : play(small_options(), 2, 3))
        for (const TrainRecord &record : game.inner) {
            EXPECT_EQ(record.gr_score, record.sc);
            set_up(record);
            settings.max_depth = 0;
            search_on_this_thread(SEARCH_BENCH);
            write_search_state(0);
            EXPECT_LE(published.quiescence_score, published.static_eval + 29);
            ++count;
        }
    EXPECT_GT(count, 100u);
}

TEST_F(Selfplay, ResultsAreThoseOfTheGameFromEachSide) {
    int decided = 0, foreseen = 0;
    for (const GameRecords &game : play(small_options(), 4, 24)) {
        if (game.game.empty()) continue;  // a short ending can be without a quiet position
        const int white = game.result == GameResult::DRAW ? 0 : game.result == GameResult::WHITE_WINS ? 2300 : -2302;
        const int black = game.result == GameResult::DRAW ? 0 : game.result == GameResult::BLACK_WINS ? 2300 : -2302;
        for (const TrainRecord &record : game.game)
            EXPECT_EQ(record.gr_score, record.stm_castling >> 4 ? black : white);
        if (game.result == GameResult::DRAW) continue;
        ++decided;
        if (game.game.back().sc * (game.game.back().gr_score > 0 ? 1 : -1) > 300) ++foreseen;
    }
    EXPECT_GE(decided, 8);
    // The winner's last score is one that decides; now and then these short searches lose a won game after the last
    // quiet position.
    EXPECT_GE(8 * foreseen, 7 * decided);
}

// A search of its own, from an empty table, finds about the same: the sides are not mixed up.
TEST_F(Selfplay, ScoresAgreeWithANewSearch) {
    int clear = 0, same_side = 0;
    for (const GameRecords &game : play(small_options(), 6, 4))
        for (const auto *part : {&game.game, &game.inner})
            for (std::size_t i = 0; i < part->size(); i += 5) {
                const TrainRecord &record = (*part)[i];
                if (std::abs(record.sc) < 200) continue;
                set_up(record);
                clear_hash_table();
                GameRecords cost = {};
                const int score = search_and_label(2000, 6000, 5, &cost).score;
                ++clear;
                same_side += (score > 0) == (record.sc > 0);
            }
    EXPECT_GT(clear, 20);
    EXPECT_GE(same_side, clear * 9 / 10);
}

TEST_F(Selfplay, TheWalkLeavesTheGameAsItWas) {
    Random random = {9};
    ASSERT_TRUE(set_random_opening({}, 8, &random));
    char before[FEN_SIZE], after[FEN_SIZE];
    position_to_fen(master(), before, 1);
    const u64 key = master()->key;
    GameRecords records = {};
    int taken = 0;
    for (int i = 0; i < 50; ++i) taken += take_inner_position(small_options(), &random, &seen, &records);
    position_to_fen(master(), after, 1);
    EXPECT_STREQ(before, after);
    EXPECT_EQ(master()->key, key);
    EXPECT_EQ(root_thread_state->game.game_ply, 8);
    EXPECT_EQ(static_cast<int>(records.inner.size()), taken);
    EXPECT_GT(taken, 25);
}

TEST_F(Selfplay, DecidedGamesAreBrokenOff) {
    SelfplayOptions broken_off = small_options();
    broken_off.inner = 0;
    broken_off.endings = 100;
    SelfplayOptions played_out = broken_off;
    played_out.resign = played_out.draw_plies = 0;
    u64 long_searches = 0, short_searches = 0;
    for (const GameRecords &game : play(played_out, 8, 6)) long_searches += game.searches;
    for (const GameRecords &game : play(broken_off, 8, 6)) short_searches += game.searches;
    EXPECT_LT(short_searches, long_searches);
}

}  // namespace
