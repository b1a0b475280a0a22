// Training records: packing, loading, and the conversions from and to EPD text.
#include "tools/training_data.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "board/thread_state.h"
#include "control/output.h"
#include "control/settings.h"
#include "platform/clock.h"
#include "tools/text_lines.h"

TrainRecord *train_records;
i64 train_record_count;

static i64 train_record_capacity;

constexpr i64 FIRST_CAPACITY = 1 << 16;
constexpr double ANNOUNCED_MEGABYTES = 18000.0;  // what TRAIN_RECORD_LIMIT records would fill
constexpr int NO_SCORE = -10000;                 // stands for a missing ce or sc

void free_train_records() {
    std::free(train_records);
    train_records = nullptr;
    train_record_count = train_record_capacity = 0;
}

// Makes room for one record more at least, by doubling. False at the limit or without memory.
static bool grow_train_records() {
    if (train_record_count < train_record_capacity) return true;
    if (train_record_count >= TRAIN_RECORD_LIMIT) return false;
    i64 capacity = train_record_capacity ? 2 * train_record_capacity : FIRST_CAPACITY;
    if (capacity > TRAIN_RECORD_LIMIT) capacity = TRAIN_RECORD_LIMIT;
    void *block = std::realloc(train_records, static_cast<std::size_t>(capacity) * sizeof(TrainRecord));
    if (!block) {
        std::fprintf(stderr, "no memory for more than %lld training positions\n",
                     static_cast<long long>(train_record_count));
        return false;
    }
    train_records = static_cast<TrainRecord *>(block);
    train_record_capacity = capacity;
    return true;
}

static bool start_train_records() {
    free_train_records();
    if (!grow_train_records()) return false;
    print_plain("allocated %.0f Mbytes for training data.\n", ANNOUNCED_MEGABYTES);
    return true;
}

int load_train_records(const char *path) {
    if (!start_train_records()) return -1;
    std::srand(calendar_seconds());
    root_thread_state->thread_rand = static_cast<u32>(std::rand()) * 12345 + 76543;
    if (!std::strstr(path, ".bin")) return -1;
    std::FILE *in = std::fopen(path, "rb");
    if (!in) return -1;
    while (train_record_count < TRAIN_RECORD_LIMIT) {
        if (!grow_train_records()) {
            std::fclose(in);
            return -1;
        }
        const i64 room = train_record_capacity - train_record_count;
        const std::size_t got =
            std::fread(train_records + train_record_count, sizeof(TrainRecord), static_cast<std::size_t>(room), in);
        train_record_count += static_cast<i64>(got);
        if (static_cast<i64>(got) < room) break;
    }
    close_input(in, path);
    print_plain("read %d positions from %s.\n\n", static_cast<int>(train_record_count), path);
    return 0;
}

void pack_train_record(const Position *position, TrainRecord *record) {
    *record = TrainRecord{};
    for (int i = 0; i < 32; ++i)
        record->squares[i] = static_cast<u8>(position->board[2 * i] | position->board[2 * i + 1] << 4);
    record->stm_castling = static_cast<u8>((position->castling & 15) | position->stm << 4);
    record->ep = position->ep_square < 64 ? position->ep_square : static_cast<u8>(NO_SQUARE);
}

static int cut_score(int score) {
    return score > TRAIN_SCORE_LIMIT ? TRAIN_SCORE_LIMIT : score < -TRAIN_SCORE_LIMIT ? -TRAIN_SCORE_LIMIT : score;
}

// The two exact results, which most lines hold, are bounded by single-precision constants; all other
// values by doubles. The difference shows in the last unit: 2300 and -2302.
int result_to_score(float result) {
    double bounded = static_cast<double>(result);
    if (result == 0.0f) bounded = static_cast<double>(1e-6f);
    else if (result == 1.0f) bounded = static_cast<double>(0.999999f);
    else if (bounded < 1e-6) bounded = 1e-6;
    else if (bounded > 0.999999) bounded = 0.999999;
    constexpr double SCORE_PER_LOGIT = static_cast<double>(1.0f / 0.006f);
    return cut_score(static_cast<int>(-SCORE_PER_LOGIT * std::log(1.0 / bounded - 1.0)));
}

// What a missing operation stands for is decided before the cuts: `ce` wraps in its 16 bits, `sc`
// is cut first.
int record_from_epd_line(const char *line, TrainRecord *record) {
    EpdLine epd;
    if (!split_epd_line(line, &epd)) return 0;
    int ce = epd.ce[0] ? read_integer(epd.ce) : NO_SCORE;
    int sc = epd.sc[0] ? read_integer(epd.sc) : NO_SCORE;
    float result = epd.gr[0] ? static_cast<float>(read_number(epd.gr)) : -1.0f;
    if (ce == NO_SCORE && sc == NO_SCORE) return 0;
    if (ce == NO_SCORE) ce = sc;
    if (sc == NO_SCORE) sc = ce;
    if (result < 0.0f) result = score_to_win_prob(ce);

    sc = cut_score(sc);
    const double probability = static_cast<double>(score_to_win_prob(sc));
    // A game won from a lost position, or the reverse, teaches nothing.
    if (result == 0.0f && probability > 0.8) return 0;
    if (result == 1.0f && probability < 0.2) return 0;

    Position *position = &root_thread_state->position;
    set_position_from_fen(position, epd.fen);
    pack_train_record(position, record);
    record->gr_score = static_cast<i16>(result_to_score(result));
    record->ce = static_cast<i16>(ce);
    record->sc = static_cast<i16>(sc);
    return 1;
}

void epd_to_records() {
    char out_name[PATH_LENGTH], line[255];
    if (!change_extension(settings.in_file, ".epd", ".bin", out_name, sizeof out_name)) return;
    std::FILE *in = std::fopen(settings.in_file, "rb");
    if (!in) return;
    if (!start_train_records()) {
        std::fclose(in);
        return;
    }
    print_plain("reading positions from file %s.\n", settings.in_file);
    constexpr std::size_t SHORTEST_LINE = 20;
    // A line too many is read at the limit, and dropped for want of room.
    while (read_text_line(line, sizeof line, in)) {
        if (is_remark(line) || std::strlen(line) < SHORTEST_LINE) continue;
        TrainRecord record;
        if (!record_from_epd_line(line, &record)) continue;
        if (!grow_train_records()) break;
        train_records[train_record_count++] = record;
    }
    close_input(in, settings.in_file);
    print_plain("read %.0f positions.\n\n", static_cast<double>(train_record_count));

    if (std::FILE *out = std::fopen(out_name, "wb")) {
        std::fwrite(train_records, sizeof(TrainRecord), static_cast<std::size_t>(train_record_count), out);
        if (close_output(out, out_name))
            print_plain("stored %d positions in %s.\n\n", static_cast<int>(train_record_count), out_name);
    }
    free_train_records();
}

void records_to_epd() {
    char out_name[PATH_LENGTH];
    if (!change_extension(settings.data_file, ".bin", ".epd", out_name, sizeof out_name)) return;
    if (load_train_records(settings.data_file) != 0) return;
    std::FILE *out = std::fopen(out_name, "w");
    if (out) {
        Position *position = &root_thread_state->position;
        for (i64 i = 0; i < train_record_count && !std::ferror(out); ++i) {
            const TrainRecord *record = &train_records[i];
            const u8 *bytes = reinterpret_cast<const u8 *>(train_records);
            float target;
            char fen[FEN_SIZE];
            // A record without kings is written as what stands on its board.
            set_position_from_record(bytes, static_cast<u32>(i), position, &target);
            position_to_fen(position, fen, 0);
            std::fprintf(out, "%s ce %d; sc %d; gr %0.1f;\n", fen, record->ce, record->sc,
                         static_cast<double>(score_to_win_prob(record->gr_score)));
        }
        close_output(out, out_name);
    }
    free_train_records();
}
