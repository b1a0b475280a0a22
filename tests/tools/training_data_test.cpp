// Training records: from EPD lines, to EPD lines, and the files that hold them.
#include "tools/training_data.h"

#include <cstring>

#include "base/settings.h"
#include "board/fen.h"
#include "search/thread_state.h"
#include "support/engine.h"
#include "tools/tool_files.h"

static TrainRecord record_of(const std::string &operations, int expected = 1) {
    start_engine();
    TrainRecord record{};
    EXPECT_EQ(record_from_epd_line((std::string(START_FIELDS) + " " + operations + "\n").c_str(), &record), expected)
        << operations;
    return record;
}

TEST(EpdToRecord, AMissingScoreTakesTheOther) {
    EXPECT_EQ(record_of("sc -34;").ce, -34);
    EXPECT_EQ(record_of("ce 12;").sc, 12);
    EXPECT_EQ(record_of("ce 12; sc -34;").ce, 12);
    EXPECT_EQ(record_of("ce 12; sc -34;").sc, -34);
    record_of("gr 0.5;", 0);
    record_of("ce -10000;", 0);
    record_of("bm e4;", 0);
}

TEST(EpdToRecord, AMissingResultComesFromTheScore) {
    // Back and forth through single precision: truncated toward zero.
    const int score = record_of("sc 100;").gr_score;
    EXPECT_TRUE(score == 99 || score == 100) << score;
    EXPECT_EQ(score, record_of("ce 100; gr -1;").gr_score);
    EXPECT_EQ(record_of("ce 0;").gr_score, 0);
}

TEST(EpdToRecord, ContradictionsAreDropped) {
    record_of("gr 1.0; sc -1000;", 0);
    record_of("gr 1.0; sc -232;", 0);
    record_of("gr 1.0; sc -231;", 1);
    record_of("gr 0.0; sc 232;", 0);
    record_of("gr 0.0; sc 231;", 1);
    EXPECT_EQ(record_of("gr 1.0; sc 0;").gr_score, 2300);
    EXPECT_EQ(record_of("gr 0.0; sc 0;").gr_score, -2302);
    record_of("gr 0.9; sc -1000;", 1);  // only exact results can contradict
}

TEST(EpdToRecord, CeWrapsAndScIsCut) {
    EXPECT_EQ(record_of("ce 40000; sc 1;").ce, static_cast<i16>(40000 - 65536));
    EXPECT_EQ(record_of("ce 1; sc 40000;").sc, 3000);
    EXPECT_EQ(record_of("ce 1; sc -40000;").sc, -3000);
    EXPECT_EQ(record_of("ce 99999999999999999999;").sc, 3000);
}

TEST(EpdToRecord, TextThatIsNoNumberReadsAsZero) {
    EXPECT_EQ(record_of("ce abc; gr nan;").ce, 0);
    EXPECT_EQ(record_of("ce 5; gr inf;").gr_score, 2302);
}

TEST(EpdToRecord, PacksTheBoard) {
    start_engine();
    TrainRecord record;
    ASSERT_EQ(record_from_epd_line("rnbqkbnr/pppp1ppp/8/8/3Pp3/8/PPP1PPPP/RNBQKBNR b Kq d3 0 3 ce 2; gr 0.5;", &record),
              1);
    EXPECT_EQ(record.squares[0], 4 | 2 << 4);     // a1 rook, b1 knight
    EXPECT_EQ(record.squares[13], 1 << 4 | 0);    // c3.. checked below by unpacking
    EXPECT_EQ(record.squares[31], 10 | 12 << 4);  // g8 knight, h8 rook
    EXPECT_EQ(record.stm_castling, 1 | 8 | 1 << 4);
    EXPECT_EQ(record.ep, 19);
    float target;
    Position *position = &root_thread_state->position;
    ASSERT_TRUE(set_position_from_record(&record, position, &target));
    char fen[FEN_SIZE];
    position_to_fen(position, fen, 0);
    EXPECT_STREQ(fen, "rnbqkbnr/pppp1ppp/8/8/3Pp3/8/PPP1PPPP/RNBQKBNR b Kq d3");
    EXPECT_EQ(target, 0.25f * 0.5f + 0.75f * score_to_win_prob(2));
}

TEST(EpdToRecord, NoEnPassantSquareIs64) { EXPECT_EQ(record_of("ce 1;").ep, 64); }

TEST(LoadRecords, FailuresAndAPieceOfARecordAtTheEnd) {
    start_engine();
    ScratchDirectory directory;
    TrainRecords records = {};
    testing::internal::CaptureStdout();
    EXPECT_EQ(load_train_records(directory.file("missing.bin").c_str(), &records), -1);
    write_file(directory.file("records.txt"), std::string(80, '\0'));
    EXPECT_EQ(load_train_records(directory.file("records.txt").c_str(), &records), -1);
    // More than the block holds at first, so that it has to grow.
    const std::string many(40 * 70001 + 39, '\1');
    write_file(directory.file("many.bin"), many);
    EXPECT_EQ(load_train_records(directory.file("many.bin").c_str(), &records), 0);
    EXPECT_EQ(records.count, 70001);
    EXPECT_EQ(records.block[70000].sc, 0x0101);
    free_train_records(&records);
    EXPECT_EQ(records.count, 0);
    const std::string said = "allocated 18000 Mbytes for training data.\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              said + said + said + "read 70001 positions from " + directory.file("many.bin") + ".\n\n");
}

TEST(EpdToBin, NameWithoutTheExtensionDoesNothing) {
    ScratchDirectory directory;
    write_file(directory.file("games.txt"), std::string(START_FIELDS) + " ce 1;\n");
    const ToolRun run = run_tool({"-epd2bin", "games.txt"}, directory);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "\"games.txt\" is not the name of a .epd file\n");
    EXPECT_EQ(run_tool({"-epd2bin", "missing.epd"}, directory).output, "");
    EXPECT_EQ(run_tool({"-bin2epd", "games.txt"}, directory).output, "");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path), {}), 1);
}

TEST(EpdToBin, SkipsRemarksAndShortLinesAndCarriageReturns) {
    ScratchDirectory directory;
    const std::string fields = START_FIELDS;
    const std::string text = "# " + fields + " ce 1;\n; " + fields + " ce 1;\n " + fields + " ce 1;\nce 1; sc 2;\n\n" +
                             fields + " ce 7; gr 0.5;\n8/8/8/8/8/8/8/K6k b - - 17 40 ce 4\n" + fields + " sc 8;";
    write_file(directory.file("a.epd"), text);
    write_file(directory.file("b.epd"), with_crlf(text));
    EXPECT_EQ(run_tool({"-epd2bin", "a.epd"}, directory).output,
              "allocated 18000 Mbytes for training data.\nreading positions from file a.epd.\nread 2 positions.\n\n"
              "stored 2 positions in a.bin.\n\n");
    run_tool({"-epd2bin", "b.epd"}, directory);
    EXPECT_EQ(read_file(directory.file("a.bin")).size(), 80u);
    EXPECT_TRUE(read_file(directory.file("a.bin")) == read_file(directory.file("b.bin")));
}

TEST(EpdToBin, ALongLineIsOneLine) {
    ScratchDirectory directory;
    const std::string fields = START_FIELDS, filler(300, 'x');
    // What follows the first 254 characters once made a record with an empty board.
    write_file(directory.file("a.epd"),
               fields + " ce 5; id \"" + filler + "x y z v w ce 7; sc 7;\"; ce 9;\n" + fields + " ce 3;\n");
    const ToolRun run = run_tool({"-epd2bin", "a.epd"}, directory);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "only the first 254 characters were used of 1 longer lines\n");
    const std::string records = read_file(directory.file("a.bin"));
    ASSERT_EQ(records.size(), 80u);
    EXPECT_EQ(records[36], 5);
    EXPECT_EQ(records[76], 3);
}

TEST(EpdToBin, ARecordNeedsOneKingASide) {
    ScratchDirectory directory;
    write_file(directory.file("a.epd"),
               "8/8/8/8/8/8/8/4K3 w - - ce 5; gr 0.5;\n8/8/8/8/8/8/8/8 w - - ce 5; gr 0.5;\n"
               "kk6/8/8/8/8/8/8/4K3 w - - ce 5; gr 0.5;\nthis is no position at all ce 5;\n");
    EXPECT_NE(run_tool({"-epd2bin", "a.epd"}, directory).output.find("read 0 positions.\n"), std::string::npos);
    EXPECT_EQ(std::filesystem::file_size(directory.file("a.bin")), 0u);
}

TEST(BinToEpd, WritesWhatStands) {
    ScratchDirectory directory;
    std::string records(120, '\0');
    records[33] = 64;
    records[40] = 0x06;       // a white king on a1 alone
    records[40 + 32] = 0x1F;  // black to move, all rights wanted
    records[40 + 33] = 64;
    for (int i = 0; i < 40; ++i) records[80 + i] = '\xFF';  // codes that no piece has
    write_file(directory.file("r.bin"), records);
    EXPECT_EQ(run_tool({"-bin2epd", "r.bin"}, directory).status, 0);
    const auto lines = split_lines(read_file(directory.file("r.epd")));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "8/8/8/8/8/8/8/8 w - - ce 0; sc 0; gr 0.5;");
    EXPECT_EQ(lines[1], "8/8/8/8/8/8/8/K7 b - - ce 0; sc 0; gr 0.5;");
    EXPECT_EQ(lines[2], "8/8/8/8/8/8/8/8 b - - ce -1; sc -1; gr 0.5;");
}
