// The parameter table: its order and values, and the reader of its text.
#include "eval/handcrafted/parameters.h"

#include <cstring>
#include <string>

#include "eval/handcrafted/weights.h"
#include "gtest/gtest.h"
#include "support/engine.h"

namespace {

struct Parameters : ::testing::Test {
    Parameters() { start_engine(); }
    ~Parameters() override { load_weights(); }
    std::string parse(const std::string &text) {
        testing::internal::CaptureStdout();
        parse_parameter_text(text.c_str());
        derive_eval_weights();
        return testing::internal::GetCapturedStdout();
    }
};

}  // namespace

TEST_F(Parameters, TableOrder) {
    ASSERT_EQ(param_count, 651);
    EXPECT_EQ(first_pst_index, 43);
    EXPECT_STREQ(param_table[0].name, "mtl_pawn");
    EXPECT_STREQ(param_table[4].name, "mtl_queen");
    EXPECT_STREQ(param_table[5].name, "bishop_pair");
    EXPECT_STREQ(param_table[42].name, "stm_bonus");
    static const char *const TABLES[9] = {"PST_P1", "PST_P2", "PST_CP", "PST_DP", "PST_N",
                                          "PST_B",  "PST_R",  "PST_Q",  "PST_K"};
    for (int i = 0; i < 9 * 64; ++i) ASSERT_STREQ(param_table[43 + i].name, TABLES[i / 64]);
    for (int i = 0; i < 32; ++i) {
        ASSERT_STREQ(param_table[619 + i].name, "ttune");
        ASSERT_EQ(param_table[619 + i].packed, 0);
    }
}

TEST_F(Parameters, PointersReachTheirRecords) {
    EXPECT_EQ(mtl_pawn, &param_table[0]);
    EXPECT_EQ(stm_bonus, &param_table[42]);
    EXPECT_STREQ(king_danger1->name, "king_danger1");
    EXPECT_STREQ(ppawn_candidate->name, "ppawn_candidate");
    EXPECT_EQ(PST_P1[0], &param_table[43]);
    EXPECT_EQ(PST_K[63], &param_table[618]);
}

TEST_F(Parameters, Values) {
    EXPECT_EQ(mtl_knight->mg, 388.0f);
    EXPECT_EQ(mtl_knight->eg, 392.0f);
    EXPECT_EQ(mtl_knight->packed, 388 + 392 * 65536);
    // A negative low half takes one from the high half when that is read by a shift.
    EXPECT_EQ(king_danger1->packed, -258 + 63 * 65536);
    EXPECT_EQ(king_danger1->packed >> 16, 62);
    EXPECT_EQ(PST_N[0]->mg, -43.0f);
    EXPECT_EQ(PST_N[63]->eg, -19.0f);
    EXPECT_EQ(PST_K[4]->packed, -13 - 50 * 65536);
    for (int i = 0; i < 32; ++i) ASSERT_EQ(PST_K[i / 4 * 8 + i % 4]->packed, 0);  // files a..d
}

TEST_F(Parameters, RegistrationGivesPlaceholders) {
    init_parameters();
    EXPECT_EQ(param_count, 651);
    EXPECT_EQ(mtl_pawn->packed, 100 + 100 * 65536);
    EXPECT_EQ(mtl_knight->packed, 335 + 335 * 65536);
    EXPECT_EQ(mtl_bishop->packed, 335 + 335 * 65536);
    EXPECT_EQ(mtl_rook->packed, 535 + 535 * 65536);
    EXPECT_EQ(mtl_queen->packed, 1000 + 1000 * 65536);
    for (int i = 5; i < param_count; ++i) ASSERT_EQ(param_table[i].packed, 0) << i;
}

TEST_F(Parameters, FullTableTakesNoMore) {
    ParamRecord *slot = nullptr;
    register_param(&slot, "one_more", 1, 2);
    EXPECT_EQ(param_count, 651);
    EXPECT_EQ(slot, nullptr);
}

TEST_F(Parameters, LoadingTwiceChangesNothing) {
    static ParamRecord before[PARAM_TABLE_SIZE];
    std::memcpy(before, param_table, sizeof(before));
    testing::internal::CaptureStdout();
    load_weights();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(std::memcmp(before, param_table, sizeof(before)), 0);
}

TEST_F(Parameters, FirstNameOpensTheTableAgain) {
    EXPECT_EQ(parse("mtl_pawn,1,2\nmtl_knight,3,4\nmtl_pawn,5,6\nmtl_knight,7,-8\n"), "");
    EXPECT_EQ(mtl_pawn->packed, 5 + 6 * 65536);
    EXPECT_EQ(mtl_knight->packed, 7 - 8 * 65536);
}

TEST_F(Parameters, WrongNameIsReportedAndStored) {
    EXPECT_EQ(parse("mtl_pawn,100,100\nmtl_bishop,1,2\n"), "error mtl_knight  mtl_bishop\n");
    EXPECT_EQ(mtl_knight->packed, 1 + 2 * 65536);
    EXPECT_EQ(mtl_bishop->packed, 387 + 399 * 65536);
}

TEST_F(Parameters, LinesPassedOver) {
    // Headings, remarks, short lines; a blank and a carriage return end a line like a line feed.
    EXPECT_EQ(parse("start\nrestarted,9,9\nremark(1),9,9\nab,1\n\r\n"
                    "mtl_pawn,11,12 mtl_knight,13,14\rmtl_bishop,15,16"),
              "");
    EXPECT_EQ(mtl_pawn->packed, 11 + 12 * 65536);
    EXPECT_EQ(mtl_knight->packed, 13 + 14 * 65536);
    EXPECT_EQ(mtl_bishop->packed, 15 + 16 * 65536);
}

TEST_F(Parameters, DamagedTexts) {
    EXPECT_EQ(parse(""), "");
    parse("mtl_pawn");
    EXPECT_EQ(mtl_pawn->packed, 0);  // values that are not there read as 0
    parse("mtl_pawn,99999999999,-99999999999");
    EXPECT_EQ(mtl_pawn->mg, 32767.0f);
    EXPECT_EQ(mtl_pawn->eg, -32767.0f);
    // A name longer than a record's is cut; pairs beyond the table are dropped.
    const std::string text = parse(std::string(200, 'x') + ",1,1\n");
    EXPECT_EQ(text, "error mtl_pawn  " + std::string(PARAM_NAME_SIZE - 1, 'x') + "\n");
    std::string many = "mtl_pawn,1,1\n";
    for (int i = 0; i < 700; ++i) many += "ttune,\n";
    parse(many);
    std::string binary = "mtl_pawn,";
    for (int c = 1; c < 256; ++c) binary += static_cast<char>(c);
    parse(binary);
}

TEST_F(Parameters, SharesAreSingleProductsCutTowardZero) {
    ParamRecord param{};
    param.mg = 62.0f;
    param.eg = -64.0f;
    EXPECT_EQ(packed_share(&param, 0.47f), 29 - 30 * 65536);
    EXPECT_EQ(packed_share(&param, -0.53f), -32 + 33 * 65536);
    EXPECT_EQ(packed_share(&param, 0.0f), 0);
}

TEST_F(Parameters, TablePrintsRankEightFirst) {
    testing::internal::CaptureStdout();
    print_pst_table("Knight", PST_N);
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(text.substr(0, text.find('\n', 7) + 1),
              "Knight\n -39  -6  -5  -2  -2  -4  -2 -22      -22  -7  -5  -3  -2  -5  -5 -19\n");
    EXPECT_EQ(text.substr(text.rfind('\n', text.size() - 3) + 1),
              " -43 -22 -25 -14  -5  -4 -22 -30      -23 -18 -10  -1  -4  -8  -7 -17\n\n");
}
