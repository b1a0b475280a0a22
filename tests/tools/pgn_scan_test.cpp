// Games as EPD lines, and the scan of whole files.
#include "tools/pgn_scan.h"

#include <cstring>

#include "support/engine.h"
#include "tools/tool_files.h"

static PgnGame parsed(std::string text) {
    PgnGame game{};
    pgn_parse_game(&game, text.data());
    return game;
}

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

TEST(ScanPgn, WrongNamesAndMissingFilesAreReported) {
    ScratchDirectory directory;
    write_file(directory.file("g.txt"), FIRST_GAME);
    write_file(directory.file("g.pgn"), FIRST_GAME);
    const std::pair<std::vector<std::string>, const char *> cases[] = {
        {{"-scan_pgn", "g.txt"}, "\"g.txt\" is not the name of a .pgn file\n"},
        {{"-scan_pgn", "missing.pgn"}, "error reading missing.pgn: No such file or directory\n"},
        {{"-scan_pgn", "g.pgn", "-o", "g.out"}, "\"g.out\" is not the name of a .epd file\n"},
        {{"-scan_pgn", "g.pgn", "-o", "no/g.epd"}, "error writing no/g.epd: No such file or directory\n"},
    };
    for (const auto &[arguments, message] : cases) {
        const ToolRun run = run_tool(arguments, directory);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, message);
        EXPECT_EQ(run.status, 1);
    }
    EXPECT_FALSE(std::filesystem::exists(directory.file("tmp0.epd")));
}
