// Book records: big-endian reading and writing, and the coding of moves.
#include "book/book_record.h"

static constexpr Square E1 = 4, E8 = 60;

// A castling as the book has it (the king takes its own rook) and as the engine has it.
struct CastlingCode {
    Square king, rook, goal;
    Move flag;
};
static constexpr CastlingCode CASTLINGS[4] = {
    {E1, 7, 6, CASTLE_KINGSIDE},
    {E1, 0, 2, CASTLE_QUEENSIDE},
    {E8, 63, 62, CASTLE_KINGSIDE},
    {E8, 56, 58, CASTLE_QUEENSIDE},
};

// The engine's flag by the book's promotion field; fields beyond queen name nothing.
static constexpr Move PROMOTION_FLAGS[8] = {0, PROMO_KNIGHT, PROMO_BISHOP, PROMO_ROOK, PROMO_QUEEN, 0, 0, 0};

// A big-endian number of `size` bytes into *value; false when the file ends within it.
static bool read_number(std::FILE *file, int size, u64 *value) {
    *value = 0;
    for (int i = 0; i < size; ++i) {
        const int byte = std::getc(file);
        if (byte == EOF) return false;
        *value = *value << 8 | static_cast<u64>(byte);
    }
    return true;
}

int book_read_record(std::FILE *file, BookRecord *record) {
    u64 number;
    if (!read_number(file, 8, &record->key)) return 1;
    if (!read_number(file, 2, &number)) return 1;
    record->move = static_cast<u16>(number);
    if (!read_number(file, 2, &number)) return 1;
    record->weight = static_cast<u16>(number);
    if (!read_number(file, 4, &number)) return 1;
    record->learn = static_cast<u32>(number);
    return 0;
}

static void put_number(u8 *out, int size, u64 value) {
    for (int i = size - 1; i >= 0; --i, value >>= 8) out[i] = static_cast<u8>(value);
}

int book_write_record(std::FILE *file, const BookRecord *record) {
    u8 bytes[BOOK_RECORD_SIZE];
    put_number(bytes, 8, record->key);
    put_number(bytes + 8, 2, record->move);
    put_number(bytes + 10, 2, record->weight);
    put_number(bytes + 12, 4, record->learn);
    return std::fwrite(bytes, sizeof bytes, 1, file) != 1;
}

// Looks at squares only: a rook's e1h1 comes out as a castling too, and whoever plays the move has
// to test it against the position.
Move move_of_book_code(u16 code) {
    const Square from = code >> 6 & 63;
    Square to = code & 63;
    Move flag = 0;
    for (const CastlingCode &castling : CASTLINGS)
        if (from == castling.king && to == castling.rook) {
            to = castling.goal;
            flag = castling.flag;
            break;
        }
    if (const Move promotion = PROMOTION_FLAGS[code >> 12 & 7]) flag = promotion;
    return make_word(from, to, flag);
}

// Here too the squares alone decide, so that a queen's e1g1 is written as e1h1. That is how books
// of this maker have always been; such a move is lost to the reader.
u16 book_code_of_move(Move move) {
    const Square from = from_of(move);
    Square to = to_of(move);
    for (const CastlingCode &castling : CASTLINGS)
        if (from == castling.king && to == castling.goal) {
            to = castling.rook;
            break;
        }
    int promotion = 0;
    for (int field = 1; field <= 4; ++field)
        if (move & PROMOTION_FLAGS[field]) promotion = field;
    return static_cast<u16>(promotion << 12 | from << 6 | to);
}
