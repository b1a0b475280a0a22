// Reading PGN games, and their positions as EPD lines.
#include "tools/pgn.h"

#include <cstring>

#include "support/engine.h"
#include "tools/tool_files.h"

static std::vector<std::string> split_all(std::string text) {
    std::vector<std::string> tokens;
    char *rest = text.data();
    while (const char *token = pgn_split(&rest)) tokens.push_back(token);
    return tokens;
}

using Tokens = std::vector<std::string>;

TEST(PgnSplit, WordsEndAtABlank) {
    EXPECT_EQ(split_all(" 1. e4\n e5"), (Tokens{"1.", "e4\n", "e5"}));  // a line end is skipped in front only
    EXPECT_EQ(split_all("  1. e4 e5  1-0 "), (Tokens{"1.", "e4", "e5", "1-0"}));
    EXPECT_EQ(split_all("\n e4"), (Tokens{"e4"}));
    EXPECT_EQ(split_all(""), Tokens{});
    EXPECT_EQ(split_all(" \n "), Tokens{});
}

TEST(PgnSplit, BracketedTokensKeepTheirMarks) {
    EXPECT_EQ(split_all("{a b} (c d) [e f] \"g h\" i"), (Tokens{"{a b}", "(c d)", "[e f]", "\"g h\"", "i"}));
    EXPECT_EQ(split_all("e4 {x}"), (Tokens{"e4", "{x}"}));
}

TEST(PgnSplit, EndMarkOverwritesTheCharacterBehindABracket) {
    EXPECT_EQ(split_all("{x}Nf3 Nf6"), (Tokens{"{x}", "f3", "Nf6"}));
    EXPECT_EQ(split_all("(a (b) c) Nf3"), (Tokens{"(a (b)", "c)", "Nf3"}));
    EXPECT_EQ(split_all("Ng8{x/3} Nf3"), (Tokens{"Ng8{x/3}", "Nf3"}));
}

TEST(PgnSplit, UnclosedBracketRunsToTheEnd) {
    EXPECT_EQ(split_all("e4 {never closed e5 Nf3"), (Tokens{"e4", "{never closed e5 Nf3"}));
    EXPECT_EQ(split_all("("), (Tokens{"("}));
    EXPECT_EQ(split_all("\""), (Tokens{"\""}));
}

static PgnGame parsed(std::string text) {
    PgnGame game{};
    pgn_parse_game(&game, text.data());
    return game;
}

TEST(PgnParse, TagsAndMoves) {
    const PgnGame game = parsed(
        "[Event \"x\"] [Result \"0-1\"] [FEN \"4k3/8/8/8/8/8/P7/4K3 w - - 0 1\"] "
        "1. a4+ Kd7# 2. a8=Q+ $1 (2. a5) e.p. 0-1");
    EXPECT_EQ(game.game_number, 1);
    EXPECT_EQ(game.result, -1);
    EXPECT_STREQ(game.fen, "4k3/8/8/8/8/8/P7/4K3 w - - 0 1");
    ASSERT_EQ(game.move_count, 4);
    EXPECT_STREQ(game.moves[0], "a4");
    EXPECT_STREQ(game.moves[1], "Kd7");
    EXPECT_STREQ(game.moves[2], "a8Q");
    EXPECT_STREQ(game.moves[3], "e.p.");
}

TEST(PgnParse, Results) {
    EXPECT_EQ(parsed("[Result \"1-0\"] ").result, 1);
    EXPECT_EQ(parsed("[Result \"1/2-1/2\"] ").result, 0);
    EXPECT_EQ(parsed("[Result \"*\"] ").result, 0);
    EXPECT_EQ(parsed("e4").result, 0);
}

TEST(PgnParse, TagWithoutValueIsEmpty) {
    const PgnGame game = parsed("[FEN ] [Result ] [Annotator] [Termination] [] e4");
    EXPECT_STREQ(game.fen, "");
    EXPECT_EQ(game.result, 0);
    EXPECT_EQ(game.annotator_eval, 0);
    EXPECT_EQ(game.move_count, 1);
}

TEST(PgnParse, LongValuesAreCut) {
    const std::string fen(5000, '8');
    const PgnGame game = parsed("[FEN \"" + fen + "\"] " + std::string(3000, 'N') + " e4");
    EXPECT_EQ(std::strlen(game.fen), sizeof game.fen - 1);
    EXPECT_STREQ(game.moves[0], "NNNNNNN");
    EXPECT_STREQ(game.moves[1], "e4");
}

static int score_of(const std::string &comment) { return parsed("e4 " + comment).scores[0]; }

TEST(PgnParse, CommentScores) {
    EXPECT_EQ(score_of("{+0.32/15 0.1s}"), 32);
    EXPECT_EQ(score_of("{-0.32/15}"), -32);
    EXPECT_EQ(score_of("{+M5/20}"), 9900);
    EXPECT_EQ(score_of("{-M3/20}"), -9900);
    EXPECT_EQ(score_of("{+1.50/3 book}"), 0);
    EXPECT_EQ(score_of("{12.5/9}"), 1250);
    EXPECT_EQ(score_of("{95.00/1}"), 9000);
    EXPECT_EQ(score_of("{-95.00/1}"), -9000);
    EXPECT_EQ(score_of("{0.25}"), 0);    // no slash
    EXPECT_EQ(score_of("{.5/3}"), 0);    // under three characters
    EXPECT_EQ(score_of("{.50/3}"), 50);  // three, counted behind the brace
    EXPECT_EQ(score_of("{89.999/4}"), 8999);
    EXPECT_EQ(score_of("{nan/4}"), 0);
    EXPECT_EQ(score_of("{1e300/4}"), 9000);
    EXPECT_EQ(score_of("{}"), 0);
}

TEST(PgnParse, ACommentBelongsToTheMoveBeforeIt) {
    const PgnGame game = parsed("{+5.00/5} e4 {+0.50/3} {+0.75/3} e5 Nf3 {-0.10/1}");
    ASSERT_EQ(game.move_count, 3);
    EXPECT_EQ(game.scores[0], 75);
    EXPECT_EQ(game.scores[1], 0);
    EXPECT_EQ(game.scores[2], -10);
}

TEST(PgnParse, AnnotatorEval) {
    EXPECT_EQ(parsed("[Annotator \"depth 9 eval=-42 x\"] ").annotator_eval, -42);
    EXPECT_EQ(parsed("[Annotator \"someone\"] ").annotator_eval, 0);
}

TEST(PgnParse, StopsStoringAtTheLimit) {
    std::string text;
    for (int i = 0; i < 700; ++i) text += "Nf3 ";
    EXPECT_EQ(parsed(text).move_count, PGN_MOVES);
}

TEST(PgnParse, ForfeitLeavesTheMovesOfTheGameBefore) {
    PgnGame game{};
    std::string first = "[Result \"1-0\"] e4 {+0.10/1} e5",
                second = "[Result \"0-1\"] [Termination \"time forfeit\"] d4";
    pgn_parse_game(&game, first.data());
    pgn_parse_game(&game, second.data());
    EXPECT_EQ(game.game_number, 2);
    EXPECT_EQ(game.result, -1);
    EXPECT_EQ(game.move_count, 2);
    EXPECT_STREQ(game.moves[0], "e4");
    EXPECT_EQ(game.scores[0], 10);
}

// ---- the exporter ----

static std::string exported(PgnGame game) {
    start_engine();
    std::FILE *out = std::tmpfile();
    pgn_export_game(&game, out);
    std::string text(static_cast<std::size_t>(std::ftell(out)), '\0');
    std::rewind(out);
    EXPECT_EQ(std::fread(text.data(), 1, text.size(), out), text.size());
    std::fclose(out);
    return text;
}

static std::string knight_moves(int plies) {
    static const char *const MOVES[4] = {"Nf3 ", "Nf6 ", "Ng1 ", "Ng8 "};
    std::string text;
    for (int i = 0; i < plies; ++i) text += MOVES[i % 4];
    return text;
}

TEST(PgnExport, ANormalGameIsWrittenFromPlySixteen) {
    EXPECT_EQ(exported(parsed(knight_moves(15))), "");
    EXPECT_EQ(exported(parsed("[Result \"1-0\"] " + knight_moves(16) + "Nf3 {+0.25/9} ")),
              std::string(START_FIELDS) +
                  " ce 25; gr 1.0;\n"
                  "rnbqkbnr/pppppppp/8/8/8/5N2/PPPPPPPP/RNBQKB1R b KQkq - ce 0; gr 0.0;\n");
}

TEST(PgnExport, AGameFromAPositionIsWrittenFromPlyFour) {
    const std::string fen = "[FEN \"4k3/8/8/8/8/8/8/4K3 w - - 0 1\"] ";
    EXPECT_EQ(exported(parsed(fen + "Kd1 Kd8 Ke1 Ke8 ")), "4k3/8/8/8/8/8/8/4K3 w - - ce 0; gr 0.5;\n");
    EXPECT_EQ(exported(parsed(fen + "Kd1 Kd8 Ke1 ")), "");
    // A value of ten characters or fewer is no position.
    EXPECT_EQ(exported(parsed("[FEN \"8/8/8/8 w \"] " + knight_moves(16))),
              std::string(START_FIELDS) + " ce 0; gr 0.5;\n");
}

TEST(PgnExport, AnnotatedGamesGiveBarePositions) {
    EXPECT_EQ(exported(parsed("[Annotator \"eval=12\"] " + knight_moves(16))), std::string(START_FIELDS) + "\n");
    EXPECT_EQ(exported(parsed("[Annotator \"eval=0\"] " + knight_moves(16))),
              std::string(START_FIELDS) + " ce 0; gr 0.5;\n");
}

TEST(PgnExport, EndsAtPly240) {
    EXPECT_EQ(split_lines(exported(parsed(knight_moves(300)))).size(), 224u);
    EXPECT_EQ(split_lines(exported(parsed(knight_moves(239)))).size(), 224u);
    EXPECT_EQ(split_lines(exported(parsed(knight_moves(238)))).size(), 223u);
}

TEST(PgnExport, ABadMoveKeepsTheLinesBefore) {
    testing::internal::CaptureStdout();
    const std::string lines = exported(parsed(knight_moves(17) + "Qh7 Nf6 "));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "can't parse move 9. Qh7 in game #1  rnbqkbnr/pppppppp/8/8/8/5N2/PPPPPPPP/RNBQKB1R b KQkq -\n");
    EXPECT_EQ(split_lines(lines).size(), 2u);
}

TEST(PgnExport, TheMessageShowsTheTextAsTheParserLeftIt) {
    testing::internal::CaptureStdout();
    exported(parsed("exd8xyn "));  // seven characters that the parser lengthens to eight
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "can't parse move 1. exd8xy=N in game #1  " + std::string(START_FIELDS) + "\n");
}

// ---- the tool ----

static const char FIRST_GAME[] =
    "[Event \"x\"]\n[Result \"1-0\"]\n\n1. Nf3 Nf6 2. Ng1 Ng8 3. Nf3 Nf6 4. Ng1 Ng8 5. Nf3 Nf6 6. Ng1 Ng8 7. Nf3\n"
    "Nf6 8. Ng1 Ng8 9. Nf3 {+0.32/15 0.1s} 1-0\n\n";

TEST(ScanPgn, WritesGamesAndCountsThem) {
    ScratchDirectory directory;
    write_file(directory.file("g.pgn"), std::string(FIRST_GAME) + FIRST_GAME);
    const ToolRun run = run_tool({"-scan_pgn", "g.pgn", "-o", "g.epd"}, directory);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "read 2 games\n\n");
    const std::string game = std::string(START_FIELDS) +
                             " ce 32; gr 1.0;\n"
                             "rnbqkbnr/pppppppp/8/8/8/5N2/PPPPPPPP/RNBQKB1R b KQkq - ce 0; gr 0.0;\n";
    EXPECT_EQ(read_file(directory.file("g.epd")), game + game + "\n");
}

TEST(ScanPgn, AShortLastGameIsNotRead) {
    ScratchDirectory directory;
    write_file(directory.file("g.pgn"), std::string(FIRST_GAME) + "[Result \"1-0\"]\n\n1. e4 e5 1-0\n");
    EXPECT_EQ(run_tool({"-scan_pgn", "g.pgn"}, directory).output, "read 1 games\n\n");
    EXPECT_EQ(split_lines(read_file(directory.file("tmp0.epd"))).size(), 3u);
}

TEST(ScanPgn, CarriageReturnsMakeNoDifference) {
    ScratchDirectory directory;
    // A line whose CR is the last character that the line buffer takes.
    const std::string text =
        std::string(FIRST_GAME) + "[Result \"1-0\"]\n" + std::string(509, ' ') + "\n" + knight_moves(20) + "\n";
    write_file(directory.file("g.pgn"), text);
    write_file(directory.file("h.pgn"), with_crlf(text));
    EXPECT_EQ(run_tool({"-scan_pgn", "g.pgn", "-o", "g.epd"}, directory).output,
              run_tool({"-scan_pgn", "h.pgn", "-o", "h.epd"}, directory).output);
    EXPECT_EQ(read_file(directory.file("g.epd")), read_file(directory.file("h.epd")));
    EXPECT_GT(read_file(directory.file("g.epd")).size(), 300u);
}

TEST(ScanPgn, WrongNamesAndMissingFilesSayNothing) {
    ScratchDirectory directory;
    write_file(directory.file("g.txt"), FIRST_GAME);
    write_file(directory.file("g.pgn"), FIRST_GAME);
    EXPECT_EQ(run_tool({"-scan_pgn", "g.txt"}, directory).output, "");
    EXPECT_EQ(run_tool({"-scan_pgn", "missing.pgn"}, directory).output, "");
    EXPECT_EQ(run_tool({"-scan_pgn", "g.pgn", "-o", "g.out"}, directory).output, "");
    EXPECT_FALSE(std::filesystem::exists(directory.file("tmp0.epd")));
}
