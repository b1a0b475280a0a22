// Records on disk and the two codings of a book move.
#include "book/book_record.h"
#include "support/positions.h"

#include "book_files.h"
#include "gtest/gtest.h"

static BookRecord read_from(const std::string &bytes, int *result) {
    std::FILE *file = std::tmpfile();
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::rewind(file);
    BookRecord record{};
    *result = book_read_record(file, &record);
    std::fclose(file);
    return record;
}

TEST(BookRecord, IsReadBigEndian) {
    int result;
    const BookRecord record =
        read_from(std::string("\x01\x02\x03\x04\x05\x06\x07\xF8\x12\x34\xFF\xFE\x0A\x0B\x0C\x0D", 16), &result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(record.key, 0x01020304050607F8ULL);
    EXPECT_EQ(record.move, 0x1234);
    EXPECT_EQ(record.weight, 0xFFFE);
    EXPECT_EQ(record.learn, 0x0A0B0C0Du);
}

TEST(BookRecord, EndOfFileIsTold) {
    int result;
    for (std::size_t length : {0, 1, 7, 8, 9, 11, 15}) {
        read_from(std::string(length, '\x7f'), &result);
        EXPECT_EQ(result, 1) << length;
    }
    EXPECT_EQ(read_from(std::string(9, '\x11'), &result).key, 0x1111111111111111ULL);
}

TEST(BookRecord, IsWrittenAsItIsRead) {
    const BookRecord record = {0x8877665544332211ULL, 0x7FFF, 0xABCD, 0x01020304};
    std::FILE *file = std::tmpfile();
    ASSERT_EQ(book_write_record(file, &record), 0);
    EXPECT_EQ(std::ftell(file), 16);
    std::rewind(file);
    std::string bytes(16, '\0');
    ASSERT_EQ(std::fread(bytes.data(), 1, 16, file), 16u);
    std::fclose(file);
    EXPECT_EQ(bytes, book_bytes({record}));
}

TEST(BookMove, PlainAndPromotion) {
    EXPECT_EQ(move_of_book_code(book_code("e2e4")), word_of("e2e4"));
    EXPECT_EQ(move_of_book_code(book_code("a1h8")), word_of("a1h8"));
    EXPECT_EQ(move_of_book_code(book_code("a7a8", 1)), word_of("a7a8", PROMO_KNIGHT));
    EXPECT_EQ(move_of_book_code(book_code("a7a8", 2)), word_of("a7a8", PROMO_BISHOP));
    EXPECT_EQ(move_of_book_code(book_code("a7a8", 3)), word_of("a7a8", PROMO_ROOK));
    EXPECT_EQ(move_of_book_code(book_code("a7a8", 4)), word_of("a7a8", PROMO_QUEEN));
    for (int field = 5; field <= 7; ++field)
        EXPECT_EQ(move_of_book_code(book_code("a7a8", field)), word_of("a7a8")) << field;
    EXPECT_EQ(move_of_book_code(0x8000 | book_code("e2e4")), word_of("e2e4")) << "bit 15 is not read";
}

TEST(BookMove, KingTakesRookIsCastling) {
    EXPECT_EQ(move_of_book_code(book_code("e1h1")), word_of("e1g1", CASTLE_KINGSIDE));
    EXPECT_EQ(move_of_book_code(book_code("e1a1")), word_of("e1c1", CASTLE_QUEENSIDE));
    EXPECT_EQ(move_of_book_code(book_code("e8h8")), word_of("e8g8", CASTLE_KINGSIDE));
    EXPECT_EQ(move_of_book_code(book_code("e8a8")), word_of("e8c8", CASTLE_QUEENSIDE));
    // The king's goal is no castling in a book, and other rows are none either.
    EXPECT_EQ(move_of_book_code(book_code("e1g1")), word_of("e1g1"));
    EXPECT_EQ(move_of_book_code(book_code("e1h8")), word_of("e1h8"));
    EXPECT_EQ(move_of_book_code(book_code("e8a1")), word_of("e8a1"));
}

TEST(BookMove, CastlingIsWrittenWithItsFlagAndReadBack) {
    const Move castlings[] = {word_of("e1g1", CASTLE_KINGSIDE), word_of("e1c1", CASTLE_QUEENSIDE),
                              word_of("e8g8", CASTLE_KINGSIDE), word_of("e8c8", CASTLE_QUEENSIDE)};
    const u16 codes[] = {book_code("e1h1", 4), book_code("e1a1", 1), book_code("e8h8", 4), book_code("e8a8", 1)};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(book_code_of_move(castlings[i]), codes[i]);
        EXPECT_EQ(move_of_book_code(codes[i]), castlings[i]);
    }
}

TEST(BookMove, WritingLooksAtSquaresOnly) {
    EXPECT_EQ(book_code_of_move(word_of("e2e4")), book_code("e2e4"));
    EXPECT_EQ(book_code_of_move(word_of("e1g1")), book_code("e1h1")) << "a queen's e1g1";
    EXPECT_EQ(book_code_of_move(word_of("g1e1")), book_code("g1e1"));
    const Move flags[] = {PROMO_KNIGHT, PROMO_BISHOP, PROMO_ROOK, PROMO_QUEEN};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(book_code_of_move(word_of("b2a1", flags[i])), book_code("b2a1", i + 1));
}
