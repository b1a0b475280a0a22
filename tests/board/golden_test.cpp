// The board against reference results: keys, texts, move lists, exchange values.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/exchange.h"
#include "board/fen.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "board/notation.h"
#include "support/engine.h"
#include "support/positions.h"
#include "support/shared_data.h"

namespace {

std::string hex16(u64 value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
    return text;
}

std::string hex4(int value) {
    char text[9];
    std::snprintf(text, sizeof text, "%04x", value);
    return text;
}

// The lines under each "position FEN" heading of a file, up to the empty line.
struct Block {
    std::string fen;
    std::vector<std::string> lines;
};
std::vector<Block> read_blocks(const std::string &path) {
    std::vector<Block> blocks;
    for (const std::string &line : read_lines(path)) {
        if (line.compare(0, 9, "position ") == 0) blocks.push_back({line.substr(9), {}});
        else if (!line.empty() && !blocks.empty()) blocks.back().lines.push_back(line);
    }
    return blocks;
}

std::vector<std::vector<std::string>> read_table(const std::string &path) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string &line : read_lines(path))
        if (!line.empty() && line[0] != '#') rows.push_back(split_tabs(line));
    return rows;
}

TEST(BoardGolden, Zobrist) {
    SKIP_WITHOUT_SHARED("golden/board/zobrist.txt");
    start_engine();
    const std::vector<std::string> lines = read_lines(shared_path("golden/board/zobrist.txt"));
    ASSERT_EQ(lines.size(), 1024u);
    for (int i = 0; i < 1024; ++i) EXPECT_EQ(hex16(zobrist[i]), lines[i]) << i;
}

TEST(BoardGolden, Keys) {
    SKIP_WITHOUT_SHARED("golden/board/keys.tsv");
    start_engine();
    const auto rows = read_table(shared_path("golden/board/keys.tsv"));
    ASSERT_GT(rows.size(), 300u);
    for (const auto &row : rows) {
        Position *position = set_up(row[0]);
        EXPECT_EQ(hex16(position->key), row[1]) << row[0];
        EXPECT_EQ(hex16(position->pawn_key), row[2]) << row[0];
    }
}

TEST(BoardGolden, Fen) {
    SKIP_WITHOUT_SHARED("golden/board/fen.tsv");
    start_engine();
    const auto rows = read_table(shared_path("golden/board/fen.tsv"));
    ASSERT_GT(rows.size(), 20u);
    for (const auto &row : rows) {
        Position *position = set_up(row[0]);
        char fen[FEN_SIZE];
        position_to_fen(position, fen, 1);
        EXPECT_EQ(fen, row[1]) << row[0];
        EXPECT_EQ(hex16(position->key), row[2]) << row[0];
        EXPECT_EQ(hex16(position->pawn_key), row[3]) << row[0];
        std::string rooks;
        for (int right = 0; right < 4; ++right) {
            if (right) rooks += ' ';
            rooks += std::to_string(position->castle_rook[right]);
        }
        EXPECT_EQ(rooks, row[4]) << row[0];
    }
}

TEST(BoardGolden, LegalMoves) {
    SKIP_WITHOUT_SHARED("golden/board/legal_moves.txt");
    start_engine();
    const std::vector<Block> blocks = read_blocks(shared_path("golden/board/legal_moves.txt"));
    ASSERT_GT(blocks.size(), 100u);
    for (const Block &block : blocks) {
        Position *position = set_up(block.fen);
        std::vector<std::string> found;
        for (const MoveEntry &entry : pseudo_legal_moves(position)) {
            if (!is_move_legal(position, position->stm, entry.move)) continue;
            char coord[MOVE_TEXT], san[MOVE_TEXT], by_file[MOVE_TEXT], by_rank[MOVE_TEXT];
            move_forms(position, entry.move, coord, san, by_file, by_rank);
            found.push_back(hex4(entry.move) + " " + text_of(position, entry.move) +
                            " flags=" + std::to_string(classify_move(position, position->stm, &entry)) +
                            " coord=" + coord + " san=" + san + " by_file=" + by_file + " by_rank=" + by_rank);
        }
        EXPECT_EQ(found, block.lines) << block.fen;
    }
}

TEST(BoardGolden, Exchange) {
    SKIP_WITHOUT_SHARED("golden/board/exchange.txt");
    start_engine();
    const std::vector<Block> blocks = read_blocks(shared_path("golden/board/exchange.txt"));
    ASSERT_GT(blocks.size(), 100u);
    for (const Block &block : blocks) {
        Position *position = set_up(block.fen);
        std::vector<std::string> found;
        for (const MoveEntry &entry : pseudo_legal_moves(position))
            found.push_back(text_of(position, entry.move) + " " +
                            std::to_string(see(position, position->stm, from_of(entry.move), to_of(entry.move))) + " " +
                            (see_ok(position, entry.move) ? "1" : "0"));
        EXPECT_EQ(found, block.lines) << block.fen;
    }
}

TEST(BoardGolden, MoveForms) {
    SKIP_WITHOUT_SHARED("golden/board/move_forms.tsv");
    start_engine();
    const auto rows = read_table(shared_path("golden/board/move_forms.tsv"));
    ASSERT_GT(rows.size(), 100u);
    for (std::size_t at = 0; at < rows.size();) {
        const std::string fen = rows[at][0];
        Position *position = set_up(fen);
        for (const Move move : legal_moves(position)) {
            char coord[MOVE_TEXT], san[MOVE_TEXT], by_file[MOVE_TEXT], by_rank[MOVE_TEXT];
            move_forms(position, move, coord, san, by_file, by_rank);
            ASSERT_LT(at, rows.size());
            const std::vector<std::string> expected{fen, coord, san, by_file, by_rank};
            EXPECT_EQ(rows[at], expected);
            ++at;
        }
    }
}

TEST(BoardGolden, ParseSan) {
    SKIP_WITHOUT_SHARED("golden/board/parse_san.tsv");
    start_engine();
    const auto rows = read_table(shared_path("golden/board/parse_san.tsv"));
    ASSERT_GT(rows.size(), 200u);
    for (const auto &row : rows) {
        Position *position = set_up(row[0]);
        char text[64];
        std::snprintf(text, sizeof text, "%s", row[1].c_str());
        Move move;
        testing::internal::CaptureStdout();
        const bool result = parse_san(position, text, &move);
        const std::string printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(std::to_string(result), row[2]) << row[0] << " " << row[1];
        EXPECT_EQ(hex4(move), row[3]) << row[0] << " " << row[1];
        EXPECT_EQ(result ? text_of(position, move) : "-", row[4]) << row[0] << " " << row[1];
        EXPECT_EQ(printed, row[5] == "2" ? "ambiguous move\n" : "") << row[0] << " " << row[1];
    }
}

}  // namespace
