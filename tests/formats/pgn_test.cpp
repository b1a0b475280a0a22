// PGN tokens, and games as records.
#include "formats/pgn.h"

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
    EXPECT_EQ(score_of("{.50/3}"), 50);  // three, counted after the brace
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

// ---- tokens of the book maker ----

static std::vector<std::string> tokens_of(const std::string &line) {
    std::vector<std::string> tokens;
    char token[PGN_TOKEN];
    for (const char *cursor = line.c_str(); pgn_next_token(&cursor, token);) tokens.push_back(token);
    return tokens;
}

TEST(PgnToken, BlanksAndBracketsDivide) {
    EXPECT_EQ(tokens_of("1. e4  e5 2.Nf3 "), (Tokens{"1.", "e4", "e5", "2.Nf3"}));
    EXPECT_EQ(tokens_of("a{b}c(d)e"), (Tokens{"a", "{", "b", "}", "c", "(", "d", ")", "e"}));
    EXPECT_EQ(tokens_of("{}"), (Tokens{"{", "}"}));
    EXPECT_EQ(tokens_of(""), Tokens{});
    EXPECT_EQ(tokens_of("   "), Tokens{});
}

TEST(PgnToken, OtherCharactersVanish) {
    EXPECT_EQ(tokens_of("Ra3\tRa6"), Tokens{"Ra3Ra6"}) << "a tab joins its neighbours";
    EXPECT_EQ(tokens_of("e4\xC3\xA9! x"), (Tokens{"e4!", "x"}));
    EXPECT_EQ(tokens_of("\r"), Tokens{""}) << "an empty token";
    EXPECT_EQ(tokens_of("e4 \r"), (Tokens{"e4", ""}));
    EXPECT_EQ(tokens_of("\x7f"), Tokens{"\x7f"});
}

TEST(PgnToken, OverlongIsCut) {
    const auto tokens = tokens_of(std::string(700, 'a') + " b");
    ASSERT_EQ(tokens.size(), 2u);
    EXPECT_EQ(tokens[0], std::string(PGN_TOKEN - 2, 'a'));
    EXPECT_EQ(tokens[1], "b");
}
