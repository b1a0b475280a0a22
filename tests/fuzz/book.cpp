// Book files in the Polyglot format.
#include <cstdio>
#include <string>

#include "base/settings.h"
#include "board/fen.h"
#include "board/move_tests.h"
#include "book/book_files.h"
#include "book/book_key.h"
#include "book/book_probe.h"
#include "book/book_record.h"
#include "fuzz/fuzz.h"
#include "fuzz/support.h"

static constexpr const char *BOOK = "fuzzed.bin";

// Positions that the seeds have records for: castling, promotion, en passant, and one without a king.
static constexpr const char *POSITIONS[] = {
    STARTPOS_FEN,
    "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -",
    "8/P6k/8/8/8/8/8/K7 w - -",
    "rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6",
    "8/8/8/8/8/8/8/R7 w - -",
};

static constexpr u16 SQUARES_OF_CODE = 0x0FFF;

// Moves that the maker of books writes as a king that takes its own rook, whatever piece makes them.
static bool is_written_as_castling(u16 code) {
    for (const u16 castling : {book_code("e1g1"), book_code("e1c1"), book_code("e8g8"), book_code("e8c8")})
        if ((code & SQUARES_OF_CODE) == castling) return true;
    return false;
}

static bool are_equal(const BookRecord &a, const BookRecord &b) {
    return a.key == b.key && a.move == b.move && a.weight == b.weight && a.learn == b.learn;
}

// Every whole record of the file, written and read again, is itself. A move keeps its squares in both codings.
static void check_records(std::FILE *file) {
    char bytes[BOOK_RECORD_SIZE + 1];
    std::FILE *copy = fmemopen(bytes, sizeof bytes, "w+");
    REQUIRE(copy != nullptr);
    BookRecord record{}, again{};
    while (!book_read_record(file, &record)) {
        std::rewind(copy);
        REQUIRE(book_write_record(copy, &record) == 0);
        std::rewind(copy);
        REQUIRE(book_read_record(copy, &again) == 0 && are_equal(record, again));
        const u16 code = book_code_of_move(move_of_book_code(record.move));
        REQUIRE(((code ^ record.move) & SQUARES_OF_CODE) == 0 || is_written_as_castling(record.move));
    }
    std::fclose(copy);
}

static void probe(Position *position) {
    const u64 key = book_key(position);
    std::FILE *file = std::fopen(BOOK, "rb");
    REQUIRE(file != nullptr);
    BookRecord list[BOOK_LIST_SIZE];
    const int count = book_find_records(file, key, list);
    std::fclose(file);
    REQUIRE(count >= 0 && count <= BOOK_LIST_SIZE);
    for (int i = 0; i < count; ++i) REQUIRE(list[i].key == key);

    const Move move = book_probe(position, BOOK);
    if (!move) return;
    REQUIRE(count > 0 && is_generated_legal_move(position, move));
    bool listed = false;
    for (int i = 0; i < count; ++i) listed |= list[i].weight && move_of_book_code(list[i].move) == move;
    REQUIRE(listed);
}

void fuzz_book(const std::string &input) {
    Position *position = &fresh_engine()->position;
    if (input.empty()) return;
    const u8 first = static_cast<u8>(input[0]);
    settings.book_variety = static_cast<u8>(first % 101);
    settings.uci_mode = first >> 7;
    REQUIRE(write_file(BOOK, input.substr(1)));
    std::FILE *file = std::fopen(BOOK, "rb");
    REQUIRE(file != nullptr);
    check_records(file);
    std::fclose(file);
    for (const char *fen : POSITIONS) {
        set_position_from_text(position, fen);
        probe(position);
    }
}
