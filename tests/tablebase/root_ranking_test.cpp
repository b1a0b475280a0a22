// The root move by distance.
#include <algorithm>

#include "board/notation.h"
#include "support/positions.h"
#include "support/table_directory.h"

struct Choice {
    bool made;
    std::string move;
    TbWdl result;
};

static Choice choose(const std::string &fen) {
    Position *position = set_up(fen);
    Move move = 0;
    TbWdl result = TB_NO_ANSWER;
    const bool made = tb_root_rank(position, &move, &result);
    return {made, made ? text_of(position, move) : "", result};
}

using RootRanking = SolvedTables;

struct RootCase {
    const char *fen;
    TbWdl result;
    std::vector<std::string> equals;  // the equally good moves
};

TEST_F(RootRanking, ChoosesOneOfTheBest) {
    const RootCase cases[] = {
        {"8/8/8/8/8/3k4/8/3K3Q w - - 10 1", TB_WIN, {"h1d5", "h1h4"}},
        {"8/8/8/8/8/3k4/8/3K3Q b - - 12 1", TB_LOSS, {"d3c4"}},
        {"k7/8/1K6/8/8/8/8/7R w - - 20 1", TB_WIN, {"h1h8"}},
        {"k7/2K5/8/8/8/8/8/7R w - - 99 1", TB_WIN, {"h1a1"}},
        {"4k3/8/4K3/4P3/8/8/8/8 w - - 10 1", TB_WIN, {"e6d6", "e6f6"}},
        {"4k3/8/4K3/4P3/8/8/8/8 w - - 97 1", TB_WIN, {"e6d6", "e6f6"}},
        {"4k3/8/4K3/4P3/8/8/8/8 w - - 98 1", TB_CURSED_WIN, {"e6d6", "e6f6"}},
        {"8/8/8/8/8/k1K5/p7/8 b - - 11 1", TB_WIN, {"a2a1q"}},
        {"8/8/8/8/8/k1K5/p7/8 w - - 11 1", TB_LOSS, {"c3c2", "c3c4", "c3d2", "c3d3", "c3d4"}},
        {"8/8/8/8/8/2k5/1p6/1K6 w - - 10 1", TB_LOSS, {"b1a2"}},
        {"5k2/8/5K2/8/8/8/8/Q7 w - - 98 1", TB_WIN, {"a1a8"}},
        {"5k2/8/5K2/8/8/8/8/Q7 w - - 99 1", TB_WIN, {"a1a8"}},
        {"5k2/8/5K2/8/8/8/8/Q7 w - - 100 1", TB_CURSED_WIN, {"a1a8"}},
        {"8/8/8/8/8/3k4/8/3K3Q w - - 89 1", TB_WIN, {"h1d5", "h1h4"}},
        {"8/8/8/8/8/3k4/8/3K3Q w - - 90 1", TB_CURSED_WIN, {"h1d5", "h1h4"}},
        {"8/8/8/8/8/3k4/8/3K3Q b - - 84 1", TB_LOSS, {"d3c4"}},
        {"8/8/8/8/8/3k4/8/3K3Q b - - 85 1", TB_BLESSED_LOSS, {"d3c4"}},
        {"8/8/8/8/8/3k4/8/3K3Q b - - 255 1", TB_BLESSED_LOSS, {"d3c4"}},
    };
    for (const RootCase &expected : cases) {
        const Choice choice = choose(expected.fen);
        EXPECT_TRUE(choice.made) << expected.fen;
        EXPECT_EQ(choice.result, expected.result) << expected.fen;
        EXPECT_TRUE(std::count(expected.equals.begin(), expected.equals.end(), choice.move))
            << expected.fen << " " << choice.move;
    }
}

TEST_F(RootRanking, PromotionsAsEngineMoves) {
    Position *position = set_up("8/8/8/8/8/k1K5/p7/8 b - - 11 1");
    Move move = 0;
    TbWdl result = TB_NO_ANSWER;
    ASSERT_TRUE(tb_root_rank(position, &move, &result));
    EXPECT_EQ(move, word_of("a2a1", PROMO_QUEEN));
    // Promoting to a queen would be stalemate; a rook wins.
    position = set_up("8/k1P5/2K5/8/8/8/8/8 w - - 11 1");
    ASSERT_TRUE(tb_root_rank(position, &move, &result));
    EXPECT_EQ(move, word_of("c7c8", PROMO_ROOK));
    EXPECT_EQ(result, TB_WIN);
}

// Among drawing moves the material decides, so that it is the same move each time.
TEST_F(RootRanking, OneOfTheDraws) {
    for (const char *fen :
         {"8/8/4k3/8/4P3/4K3/8/8 w - - 10 1", "8/8/4k3/8/4P3/4K3/8/8 b - - 10 1", "8/8/4k3/8/8/8/4P3/4K3 w - - 33 1"}) {
        const TbPosition pos = tb_position_of(fen);
        TbMove moves[TB_MAX_MOVES];
        TbMove *const end = tb_gen_legal(pos, moves);
        std::vector<std::string> draws;
        for (const TbMove *move = moves; move != end; ++move) {
            TbPosition next;
            tb_do_move(&next, pos, *move);
            if (wdl_of(next).value == 0)
                draws.push_back(std::string(SQUARE_NAMES[tb_from(*move)]) + SQUARE_NAMES[tb_to(*move)]);
        }
        ASSERT_GT(draws.size(), 1u);
        const Choice choice = choose(fen);
        EXPECT_TRUE(choice.made);
        EXPECT_EQ(choice.result, TB_DRAW);
        EXPECT_EQ(choice.move, draws[tb_material_key(pos, !pos.turn) % draws.size()]) << fen;
    }
}

TEST_F(RootRanking, NothingToChoose) {
    EXPECT_FALSE(choose("7k/5Q2/8/8/8/8/8/K7 b - - 10 1").made) << "stalemate";
    EXPECT_FALSE(choose("k6R/8/1K6/8/8/8/8/8 b - - 10 1").made) << "mate";
    EXPECT_FALSE(choose("4k3/8/8/8/8/8/8/4K2R w K - 10 1").made) << "castling rights";
    EXPECT_FALSE(choose("8/8/4k3/8/8/8/RR6/K7 w - - 10 1").made) << "more men than the largest table";
    use_tables("");
    EXPECT_FALSE(choose("k7/8/1K6/8/8/8/8/7R w - - 20 1").made);
}

// Wins and losses that the 50-move rule undoes, from a table that has them.
TEST_F(RootRanking, SpoiltResults) {
    EndingFormat format;
    format.cursed_from = 21;
    format.cursed_shift = 80;
    ScratchDirectory other;
    ASSERT_TRUE(write_file(other.file("KRvK.rtbw"), table_bytes(ending_wdl_plan(ROOK, format))));
    ASSERT_TRUE(write_file(other.file("KRvK.rtbz"), table_bytes(ending_dtz_plan(ROOK, format))));
    use_tables(other.path);
    int wins = 0, losses = 0;
    for (int man = 0; man < 64; man += 5)
        for (int kings = 0; kings < 64 * 64; kings += 37)
            for (const int turn : {0, 1}) {
                TbPosition pos;
                if (!ending_position(ROOK, turn, man, kings / 64, kings % 64, &pos)) continue;
                const int dtz = ending_dtz(ROOK, turn, man, kings / 64, kings % 64);
                if (std::abs(dtz) < 21) continue;
                Position *position = set_up("8/8/8/8/8/8/8/8 w - - 0 1");
                place_piece(position, ROOK, man);
                place_piece(position, KING, kings / 64);
                place_piece(position, BLACK_CODE + KING, kings % 64);
                position->stm = turn ? WHITE : BLACK;
                position->fifty = 10;
                Move move = 0;
                TbWdl result = TB_NO_ANSWER;
                ASSERT_TRUE(tb_root_rank(position, &move, &result));
                EXPECT_EQ(result, dtz > 0 ? TB_CURSED_WIN : TB_BLESSED_LOSS);
                EXPECT_EQ(tb_probe_wdl(position, 80), result);
                TbPosition next;
                ASSERT_TRUE(tb_do_move(&next, pos, tb_move_word(from_of(move), to_of(move))));
                // The move keeps to the shortest way, or to the longest resistance.
                const int dtz_after = ending_dtz(ROOK, !turn, lowest(next.rooks), lowest(next.kings & next.white),
                                                 lowest(next.kings & next.black));
                EXPECT_EQ(dtz_after, dtz > 0 ? 1 - dtz : -dtz - 1);
                ++(dtz > 0 ? wins : losses);
            }
    EXPECT_GT(wins, 50);
    EXPECT_GT(losses, 50);
}
