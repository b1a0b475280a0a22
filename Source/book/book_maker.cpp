// The book maker: games to counts, counts to weights.
#include "book/book_maker.h"

#include <algorithm>
#include <cstring>

#include "base/output.h"
#include "base/progress.h"
#include "base/settings.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/notation.h"
#include "book/book_key.h"
#include "book/book_nodes.h"
#include "book/book_record.h"
#include "formats/output_file.h"
#include "formats/pgn.h"
#include "formats/text_file.h"
#include "platform/file_offset.h"
#include "platform/interrupt.h"

static constexpr const char *BOOK_OUTPUT = "tmp_book.bin";
static constexpr int LINE_SIZE = 1024;
static constexpr int PLY_LIMIT = 36;  // a line of moves is begun only below this
static constexpr int GAMES_PER_DOT = 1024;
static constexpr u32 MIN_POINTS = 4;             // wins and draws of a move must exceed this
static constexpr double WEIGHT_OF_BEST = 60000;  // scores are scaled down to this, never up
static constexpr int MOVES_PER_KEY = 256;        // no position has more legal moves than 218

enum GameResult { WHITE_WON, BLACK_WON, DRAWN, UNUSED };

// Where the reader is within a game.
struct GameReading {
    int result;      // GameResult
    int plies;       // moves taken from it
    int braces;      // open comments; goes below 0 when more are closed than opened
    int variations;  // open parentheses, the same
    bool failed;     // a move could not be read: the rest is skipped
};

// Where a move may begin in a token such as "12.Nf3": at a letter, or at castling written with
// zeros. Null for move numbers and most results; "0-1" looks like a castling and fails as a move.
static char *move_in_token(char *token) {
    for (char *at = token; *at; ++at) {
        if ((*at >= 'a' && *at <= 'z') || (*at >= 'A' && *at <= 'Z')) return at;
        if (*at == '0' && at[1] == '-') return at;
    }
    return nullptr;
}

// Plays one move of the game text and counts it; false when memory ran out.
static bool take_move(Position *position, BookTable *table, GameReading *game, char *text) {
    const u64 key = book_key(position);
    const int outcome = game->result == DRAWN ? 0 : game->result == position->stm ? 1 : -1;
    Move move;
    if (!parse_san(position, text, &move)) {
        game->failed = true;
        return true;
    }
    ++game->plies;
    make_move(position, move);
    return count_book_move(table, key, move, outcome);
}

// One line of game text. A comment may begin on one line and end on another. False when memory ran
// out.
static bool read_moves(Position *position, BookTable *table, GameReading *game, const char *line) {
    char token[PGN_TOKEN];
    while (!game->failed && pgn_next_token(&line, token)) {
        switch (token[0]) {
            case ';': continue;  // only the token, not the rest of the line
            case '{': ++game->braces; continue;
            case '}': --game->braces; continue;
            case '(': ++game->variations; continue;
            case ')': --game->variations; continue;
            case '$':
            case '\0': continue;
            default: break;
        }
        if (game->braces || game->variations) continue;
        char *text = move_in_token(token);
        if (text && !take_move(position, table, game, text)) return false;
    }
    return true;
}

static int result_of_tag(const char *line) {
    return std::strstr(line, "1-0")   ? WHITE_WON
           : std::strstr(line, "0-1") ? BLACK_WON
           : std::strstr(line, "1/2") ? DRAWN
                                      : UNUSED;
}

// Reads all games; the Result tag begins one. Text before the first tag belongs to no game, and no
// move of it is legal on the empty board that stands there. An interrupt ends the reading between two
// lines. False when memory ran out.
static bool read_games(Position *position, std::FILE *file, BookTable *table, u32 *games) {
    clear_position(position);
    GameReading game = {DRAWN, 0, 0, 0, false};
    Progress progress;
    begin_progress(&progress, "games", static_cast<double>(stream_size(file)));
    double bytes = 0.0;
    bool room = true;
    char line[LINE_SIZE];
    while (room && !caught_interrupt() && std::fgets(line, sizeof line, file)) {
        const std::size_t length = std::strlen(line);
        bytes += static_cast<double>(length);
        show_progress(&progress, bytes, *games);
        // The last character goes even when it is not a line end, as in a line longer than the buffer.
        if (length) line[length - 1] = '\0';
        if (std::strstr(line, "[Result ")) {
            set_position_from_text(position, STARTPOS_FEN);
            if (++*games % GAMES_PER_DOT == 0) print_plain(".");
            game = {result_of_tag(line), 0, 0, 0, false};
            continue;
        }
        if (std::strstr(line, "[FEN ")) {
            game.result = UNUSED;
            continue;
        }
        if ((line[0] == ';' || line[0] == '[') && game.braces == 0) continue;
        // The ply limit is looked at between lines only: a line begun below it is used to its end.
        if (game.result == UNUSED || game.plies >= PLY_LIMIT) continue;
        room = read_moves(position, table, &game, line);
    }
    end_progress(&progress);
    return room;
}

// A negative score is taken as an unsigned number and comes out, by the factor, as 0 (the number
// does not fit) or as an arbitrary weight. Books have been made so; the numbers are kept.
u16 book_weight(i32 score, i32 best) {
    const double factor = std::min(WEIGHT_OF_BEST / best, 1.0);
    const double scaled = static_cast<u32>(score) * factor;
    return scaled < 2147483648.0 ? static_cast<u16>(static_cast<i32>(scaled)) : static_cast<u16>(0);
}

static i32 score_of(const BookNode *node) { return static_cast<i32>(4 * node->wins - 2 * node->losses + node->draws); }

static bool is_worth_playing(const BookNode *node) {
    return node->wins + node->draws > std::max(node->losses, MIN_POINTS);
}

// Writes the records of the nodes [first, end), all of one key; returns how many.
static u32 write_position(std::FILE *file, const BookNode *first, const BookNode *end) {
    const BookNode *kept[MOVES_PER_KEY];
    int count = 0;
    i32 best = 0;
    for (const BookNode *node = first; node != end; node = node->next) {
        if (!is_worth_playing(node) || count == MOVES_PER_KEY) continue;
        kept[count++] = node;
        best = std::max(best, score_of(node));
    }
    BookRecord records[MOVES_PER_KEY];
    for (int i = 0; i < count; ++i)
        records[i] = {kept[i]->key, book_code_of_move(kept[i]->move), book_weight(score_of(kept[i]), best), 0};
    std::stable_sort(records, records + count,
                     [](const BookRecord &a, const BookRecord &b) { return a.weight > b.weight; });
    for (int i = 0; i < count; ++i) book_write_record(file, &records[i]);
    return static_cast<u32>(count);
}

// All chains in order, which is the order of the file; returns the records written.
static u32 write_records(std::FILE *file, const BookTable *table) {
    u32 written = 0;
    for (std::size_t i = 0; i < std::size_t{1} << table->head_bits; ++i)
        for (const BookNode *node = table->heads[i]; node;) {
            const BookNode *first = node;
            while (node && node->key == first->key) node = node->next;
            written += write_position(file, first, node);
        }
    return written;
}

// Writes the book and the summary. False when it can't be written; then the counts are 0, and the
// old file stays.
static bool write_book(const BookTable *table, u32 games) {
    print_plain("\nwriting book file ...");
    u32 moves = table->nodes, written = 0;
    OutputFile output;
    const bool created = open_output(&output, BOOK_OUTPUT, OUTPUT_BINARY, settings.pgn_file);
    bool complete = created;
    if (created) {
        written = write_records(output.stream, table);
        complete = close_output(&output, OUTPUT_COMPLETE);
    }
    if (!complete) games = moves = written = 0;
    print_plain("\nngames= %d, nmoves= %d\n", games, moves);
    print_plain("book contains %d moves\n", written);
    if (complete || !created) print_plain("done\n");
    return complete;
}

bool make_book(Position *position) {
    std::FILE *input = open_input(settings.pgn_file);
    if (!input) return false;
    print_format(" Creating file %s from games in %s", BOOK_OUTPUT, settings.pgn_file);
    BookTable table;
    u32 games = 0;
    const bool room = open_book_table(&table) && read_games(position, input, &table, &games);
    if (!room) std::fprintf(stderr, "no memory for the moves of the book\n");
    const bool read = close_input(input, settings.pgn_file);
    const bool made = room && read && write_book(&table, games);
    free_book_table(&table);
    return made;
}
