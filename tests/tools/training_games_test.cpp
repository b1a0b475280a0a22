// Self-play training data and the second look at positions.
#include <climits>

#include "base/text.h"
#include "tools/training_games.h"

#include <cmath>

#include "base/settings.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "board/move_tests.h"
#include "formats/epd.h"
#include "formats/text_file.h"
#include "search/hash_table.h"
#include "search/thread_state.h"
#include "support/engine.h"
#include "support/sanitizers.h"
#include "tools/tool_files.h"
#include "tools/training_data.h"

static TrainingGame game_from(const char *fen, int fifty = 0) {
    ThreadState *thread = start_engine();
    settings.max_depth = 7;
    set_position_from_text(&thread->position, fen);
    thread->position.fifty = static_cast<u8>(fifty);
    TrainingGame game;
    play_training_game(&game);
    return game;
}

TEST(TrainingGame, AMatedSideHasLost) {
    const TrainingGame game = game_from("R5k1/5ppp/8/8/8/8/8/6K1 b - -");
    EXPECT_EQ(game.plies, 0);
    EXPECT_EQ(game.result[0], 0.0f);
    EXPECT_EQ(game.result[1], 1.0f);
}

TEST(TrainingGame, AStalematedSideHasLostToo) {
    const TrainingGame game = game_from("7k/5Q2/6K1/8/8/8/8/8 b - -");
    EXPECT_EQ(game.plies, 0);
    EXPECT_EQ(game.result[0], 0.0f);
    EXPECT_EQ(game.result[1], 1.0f);
}

TEST(TrainingGame, TheFiftyMoveRuleIsADraw) {
    const TrainingGame game = game_from("7k/5Q2/8/8/8/8/8/K7 w - -", 100);
    EXPECT_EQ(game.plies, 0);
    EXPECT_EQ(game.result[0], 0.5f);
    EXPECT_EQ(game.result[1], 0.5f);
}

TEST(TrainingGame, LevelShufflingIsBrokenOffAsADraw) {
    const TrainingGame game = game_from("7k/8/8/8/8/8/8/K7 w - -");
    EXPECT_EQ(game.plies, 1);  // bare kings end the game after the first move
    EXPECT_EQ(game.result[0], 0.5f);
}

TEST(TrainingGame, AMateInOneIsWonByItsSide) {
    const TrainingGame game = game_from("6k1/5ppp/8/8/8/8/8/R5K1 w - -");
    ASSERT_EQ(game.plies, 1);
    EXPECT_EQ(game.result[0], 1.0f);
    EXPECT_EQ(game.result[1], 0.0f);
    const TrainingGame other = game_from("r5k1/8/8/8/8/8/5PPP/6K1 b - -");
    EXPECT_EQ(other.result[0], 1.0f);  // even plies are black's here
    EXPECT_EQ(other.result[1], 0.0f);
}

// Whether the line is what the tool promises: a legal position with its side not in check.
static void expect_quiet(const EpdLine &epd, const std::string &line) {
    Position *position = &root_thread_state->position;
    set_position_from_text(position, epd.fen);
    EXPECT_EQ(position_defect(position), nullptr) << line;
    EXPECT_FALSE(is_square_attacked(position, position->king_sq[position->stm], position->stm ^ 1)) << line;
    EXPECT_TRUE(has_legal_move(position)) << line;
    char fen[FEN_SIZE];
    position_to_fen(position, fen, 0);
    EXPECT_STREQ(fen, epd.fen);
}

TEST(TrainingGame, ScoresAndResultAreFromTheMoversSide) {
    // A queen ahead at the start: the side with the queen wins whatever side that is.
    const char *const starts[2] = {"rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -",
                                   "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNB1KBNR w KQkq -"};
    for (int winner = 0; winner < 2; ++winner) {
        const TrainingGame game = game_from(starts[winner]);
        ASSERT_GT(game.plies, 2);
        EXPECT_EQ(game.result[winner], 1.0f);
        EXPECT_EQ(game.result[winner ^ 1], 0.0f);
        int written = 0;
        for (int ply = 0; ply < game.plies; ++ply) {
            if (!game.lines[ply][0]) continue;
            ++written;
            EpdLine epd;
            split_epd_line(game.lines[ply], &epd);
            expect_quiet(epd, game.lines[ply]);
            EXPECT_EQ(root_thread_state->position.stm, ply & 1);
            EXPECT_EQ(integer_in_range(epd.ce, -INT_MAX, INT_MAX) > 0, (ply & 1) == winner) << game.lines[ply];
        }
        EXPECT_EQ(written, game.written);
        EXPECT_GT(written, 0);
    }
}

TEST(GenerateTraining, SmallCountIsRefused) {
    ScratchDirectory directory;
    EXPECT_EQ(run_tool({"-gentraindata", "g.epd", "99"}, directory).status, 1);
    EXPECT_FALSE(std::filesystem::exists(directory.file("g.epd")));
}

TEST(GenerateTraining, WithoutStartPositionsNothingIsWritten) {
    ScratchDirectory directory;
    const ToolRun run = run_tool({"-gentraindata", "g.epd", "100"}, directory);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "error reading mybook_2mv.epd: No such file or directory\n");
    EXPECT_FALSE(std::filesystem::exists(directory.file("g.epd")));
}

// Games, then packed, then unpacked: the same positions but those that the packing drops.
TEST(GenerateTraining, LinesAreSoundAndSurvivePacking) {
    SKIP_UNDER_THREAD_SANITIZER();
    start_engine();
    ScratchDirectory directory;
    write_file(directory.file("mybook_2mv.epd"),
               "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2\r\n"
               "rnbqkbnr/pp1ppppp/8/2p5/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2\n"
               "rnbqkb1r/pppppppp/5n2/8/3P4/8/PPP1PPPP/RNBQKBNR w KQkq - 1 2");
    const ToolRun run = run_tool({"-gentraindata", "g.epd", "120", "-d", "7"}, directory);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output.find_first_not_of(".?\n"), std::string::npos) << run.output;
    const auto lines = split_lines(read_file(directory.file("g.epd")));
    ASSERT_GE(lines.size(), 120u);

    std::vector<std::string> kept;  // fields of the positions that packing keeps, with their scores
    for (const std::string &line : lines) {
        EpdLine epd;
        split_epd_line((line + "\n").c_str(), &epd);
        expect_quiet(epd, line);
        EXPECT_LE(std::abs(integer_in_range(epd.ce, -INT_MAX, INT_MAX)), 10000);
        EXPECT_TRUE(std::string(epd.gr) == "0.0" || std::string(epd.gr) == "0.5" || std::string(epd.gr) == "1.0")
            << line;
        EXPECT_EQ(line, std::string(epd.fen) + " ce " + epd.ce + "; gr " + epd.gr + ";");
        TrainRecord record;
        if (record_from_epd_line(line.c_str(), &record)) kept.push_back(epd.fen + std::string(" ce ") + epd.ce + ";");
    }
    ASSERT_GT(kept.size(), lines.size() / 2);
    run_tool({"-epd2bin", "g.epd"}, directory);
    EXPECT_EQ(read_file(directory.file("g.bin")).size(), 40 * kept.size());
    run_tool({"-bin2epd", "g.bin"}, directory);
    const auto back = split_lines(read_file(directory.file("g.epd")));
    ASSERT_EQ(back.size(), kept.size());
    for (std::size_t i = 0; i < kept.size(); ++i) EXPECT_EQ(back[i].substr(0, kept[i].size()), kept[i]);
}

TEST(ConvertTraining, WritesQuietLinesWithTheirScores) {
    start_engine();
    ScratchDirectory directory;
    write_file(directory.file("in.epd"),
               "# a remark\n"
               "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq -\n"                // no operations
               "rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ce 900; gr 1.0;\r\n"  // a queen ahead
               "rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ce 900; gr 0.0;\n"    // contradicts
               "4k3/4R3/8/8/8/8/8/4K3 b - - ce 5; gr 0.5;\n"                               // in check
               "8/8/8/8/8/8/8/8 w - - ce 5; gr 0.5;\n");                                   // no kings
    // Whether the end of the short line is quiet depends on the evaluation. The hand-crafted one stays as it is when the
    // network is replaced.
    const ToolRun run = run_tool({"-mktraindata", "in.epd", "-o", "out.epd", "-d", "4", "-use_hce"}, directory);
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.output.find("infile= in.epd, outfile= out.epd\n"), std::string::npos);
    const auto lines = split_lines(read_file(directory.file("out.epd")));
    int bare = 0, full = 0;
    for (const std::string &line : lines) {
        EpdLine epd;
        split_epd_line(line.c_str(), &epd);
        expect_quiet(epd, line);
        ASSERT_TRUE(epd.sc[0]) << line;
        if (!epd.gr[0]) {
            ++bare;
            EXPECT_EQ(line, std::string(epd.fen) + " sc " + epd.sc + ";");
            continue;
        }
        ++full;
        // The short line may end with either side to move: both values turn with it.
        const bool white = root_thread_state->position.stm == 0;
        EXPECT_STREQ(epd.ce, white ? "900" : "-900");
        EXPECT_STREQ(epd.gr, white ? "1.0" : "0.0");
        EXPECT_EQ(integer_in_range(epd.sc, -INT_MAX, INT_MAX) > 0, white);
    }
    EXPECT_LE(bare, 1);
    EXPECT_LE(full, 1);
    EXPECT_GE(bare + full, 1) << run.output;
}

TEST(ConvertTraining, WrongNamesAreRefused) {
    ScratchDirectory directory;
    write_file(directory.file("in.txt"), std::string(START_FIELDS) + "\n");
    EXPECT_EQ(run_tool({"-mktraindata", "in.txt", "-o", "out.epd"}, directory).output.find("infile"),
              std::string::npos);
    const ToolRun run = run_tool({"-mktraindata", "in.epd", "-o", "out.txt"}, directory);
    EXPECT_EQ(run.output.find("infile"), std::string::npos);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "\"out.txt\" is not the name of a .epd file\n");
}
