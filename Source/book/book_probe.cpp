// Book probing: a binary search on disk, a weighted draw, and the list for the user.
#include "book/book_probe.h"

#include "base/output.h"
#include "base/random.h"
#include "base/settings.h"
#include "board/move_tests.h"
#include "book/book_key.h"
#include "platform/clock.h"
#include "platform/data_file.h"
#include "platform/file_offset.h"

u32 book_seed;
u8 book_seeded;

static constexpr int NEUTRAL_VARIETY = 25;     // weights as the book has them
static constexpr float SILENT_FROM = 9999.0f;  // info_min_time that keeps the console quiet

static bool read_record_at(std::FILE *file, i64 index, BookRecord *record) {
    BookRecord found{};
    if (!set_file_place(file, index * BOOK_RECORD_SIZE) || book_read_record(file, &found)) return false;
    *record = found;
    return true;
}

// Lower bound over the records of the file, then the run of equal keys after it. The last record is
// read by its place before the end: in a file with a broken tail it is a record of its own making,
// which no key matches.
int book_find_records(std::FILE *file, u64 key, BookRecord *list) {
    const i64 last = stream_size(file) - BOOK_RECORD_SIZE;
    BookRecord best{};
    if (last < 0 || !set_file_place(file, last) || book_read_record(file, &best)) return 0;
    i64 low = -1, high = last / BOOK_RECORD_SIZE;
    BookRecord middle = best;
    while (high - low != 1) {
        const i64 index = (low + high) / 2;
        read_record_at(file, index, &middle);
        if (middle.key >= key) {
            best = middle;
            high = index;
        } else {
            low = index;
        }
    }
    if (best.key != key) return 0;

    int count = 0;
    list[count++] = best;
    if (!set_file_place(file, (high + 1) * BOOK_RECORD_SIZE)) return count;
    while (count < BOOK_LIST_SIZE) {
        BookRecord next{};
        if (book_read_record(file, &next) || next.key != key) break;
        list[count++] = next;
    }
    return count;
}

i32 book_total_weight(const BookRecord *list, int count) {
    i32 total = 0;
    for (int i = 0; i < count; ++i) total += list[i].weight;
    return total;
}

i32 book_adjust_weights(const BookRecord *list, int count, i32 total, int variety, i32 *adjusted) {
    const i32 bias = static_cast<i32>((variety - NEUTRAL_VARIETY) * (list[0].weight * 0.01));
    i32 sum = 0;
    for (int i = 0; i < count; ++i) {
        adjusted[i] = (list[i].weight + bias) * 10000 / total;
        if (adjusted[i] < 0) adjusted[i] = 0;
        sum += adjusted[i];
    }
    return sum;
}

i32 book_draw_threshold(u32 *seed, i32 sum) {
    next_random(seed);
    return static_cast<i32>((*seed % 1000) * 0.001 * sum);
}

// A record without weight takes no part, not even by standing first in a file that isn't sorted.
int book_choose_entry(const BookRecord *list, const i32 *adjusted, int count, i32 threshold) {
    int chosen = -1;
    i32 cumulative = 0;
    for (int i = 0; i < count; ++i) {
        if (!list[i].weight) continue;
        if (chosen < 0 || cumulative < threshold) chosen = i;
        cumulative += adjusted[i];
    }
    return chosen;
}

// All moves of the list on one line; a front end sees them as information.
static void show_list_uci(const BookRecord *list, int count) {
    char line[64 + BOOK_LIST_SIZE * 5];
    char *end = line + std::snprintf(line, sizeof line, "info string ( book moves are: ");
    for (int i = 0; i < count; ++i) {
        if (!list[i].weight) continue;
        const Move move = move_of_book_code(list[i].move);
        end += std::snprintf(end, static_cast<std::size_t>(line + sizeof line - end), "%s%s ",
                             SQUARE_NAMES[from_of(move)], SQUARE_NAMES[to_of(move)]);
    }
    std::snprintf(end, static_cast<std::size_t>(line + sizeof line - end), " )");
    print_line(line);
}

// A line per move: weight, its share in the book, its share in the draw. The closing line names a1
// twice when the chosen move was refused.
static void show_list_console(const BookRecord *list, const i32 *adjusted, int count, i32 total, i32 sum, Move result) {
    for (int i = 0; i < count; ++i) {
        if (!list[i].weight) continue;
        const Move move = move_of_book_code(list[i].move);
        char text[5];
        std::snprintf(text, sizeof text, "%s%s", SQUARE_NAMES[from_of(move)], SQUARE_NAMES[to_of(move)]);
        print_format("  %s  cnt= %5d, weight= %5.2f%% -> %5.2f%%", text, list[i].weight, list[i].weight * 100.0 / total,
                     adjusted[i] * 100.0 / sum);
    }
    print_format("selecting %s%s", SQUARE_NAMES[from_of(result)], SQUARE_NAMES[to_of(result)]);
}

// A book may be anyone's file: its move is played only when the position has it.
static bool is_playable(Position *position, Move move) {
    if (position->king_sq[position->stm] >= NO_SQUARE) return false;
    return is_generated_legal_move(position, move);
}

Move book_probe(Position *position, const char *path) {
    std::FILE *file = *path ? open_data_file(path) : nullptr;
    if (!file) return 0;
    if (!book_seeded) {
        book_seed = calendar_seconds();
        book_seeded = 1;
    }
    BookRecord list[BOOK_LIST_SIZE];
    const int count = book_find_records(file, book_key(position), list);
    std::fclose(file);
    const i32 total = book_total_weight(list, count);
    if (!total) return 0;

    i32 adjusted[BOOK_LIST_SIZE];
    const i32 sum = book_adjust_weights(list, count, total, settings.book_variety, adjusted);
    const i32 threshold = book_draw_threshold(&book_seed, sum);
    const int chosen = book_choose_entry(list, adjusted, count, threshold);
    Move result = move_of_book_code(list[chosen].move);
    if (!is_playable(position, result)) result = 0;

    if (settings.uci_mode) show_list_uci(list, count);
    else if (settings.info_min_time < SILENT_FROM) show_list_console(list, adjusted, count, total, sum, result);
    return result;
}
