// Reading, checking, splitting and shuffling of training records.
#include "train_data.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

constexpr u64 HELD_OUT_SEED = 0x5441524E68656C64;
constexpr int SIDE_BIT = 8;  // in a piece code: black
constexpr int TYPE_BITS = 7;

u64 shuffled_index(u64 key, u64 index, u64 count) {
    constexpr int ROUNDS = 4;
    int half_bits = 1;
    while (u64{1} << 2 * half_bits < count) ++half_bits;
    const u64 mask = (u64{1} << half_bits) - 1;
    do {
        u64 left = index >> half_bits, right = index & mask;
        for (int round = 0; round < ROUNDS; ++round) {
            const u64 next = left ^ (mix_bits(key + right * ROUNDS + static_cast<u64>(round)) & mask);
            left = right;
            right = next;
        }
        index = left << half_bits | right;
    } while (index >= count);
    return index;
}

// Counts the men of each code. Returns why the board is none of a game, or null.
static const char *board_defect(const TrainRecord &record) {
    int counts[16] = {};
    for (int byte = 0; byte < 32; ++byte) {
        ++counts[record.squares[byte] & 15];
        ++counts[record.squares[byte] >> 4];
        const bool edge = byte < 4 || byte >= 28;
        const bool pawn = (record.squares[byte] & TYPE_BITS) == PAWN || (record.squares[byte] >> 4 & TYPE_BITS) == PAWN;
        if (edge && pawn) return "a pawn on the first or last rank";
    }
    if (counts[7] || counts[SIDE_BIT] || counts[15]) return "an unknown piece code";
    for (int side = 0; side <= SIDE_BIT; side += SIDE_BIT) {
        if (counts[side + KING] != 1) return "not one king a side";
        int men = 0;
        for (int type = PAWN; type <= KING; ++type) men += counts[side + type];
        if (men > 16) return "more than 16 men a side";
    }
    return nullptr;
}

static bool score_in_range(int score) { return score >= -TRAIN_SCORE_LIMIT && score <= TRAIN_SCORE_LIMIT; }

const char *record_defect(const TrainRecord &record) {
    constexpr int NO_EP = 64;
    if (record.stm_castling >> 4 > 1) return "an unknown side to move";
    if (record.ep > NO_EP) return "an unknown en-passant square";
    if (!score_in_range(record.sc) || !score_in_range(record.gr_score)) return "a score out of range";
    return board_defect(record);
}

static const TrainRecord *records_of(const DataFile &file) {
    return reinterpret_cast<const TrainRecord *>(file.view.data);
}

static u64 record_count(const DataFile &file) { return file.view.size / sizeof(TrainRecord); }

// Looks at every record of the file and reports what is wrong with it. False when the file is refused.
static bool check_records(DataSet *data, const DataFile &file) {
    const u64 count = record_count(file);
    u64 damaged = 0, first = 0;
    const char *reason = nullptr;
    for (u64 i = 0; i < count; ++i) {
        const char *defect = record_defect(records_of(file)[i]);
        if (!defect) continue;
        if (!damaged++) {
            first = i;
            reason = defect;
        }
    }
    const char *path = file.path.c_str();
    if (static_cast<double>(damaged) > MAX_DAMAGED_SHARE * static_cast<double>(count)) {
        std::printf("%s: refused, %llu of %llu records are damaged (record %llu: %s)\n", path,
                    static_cast<unsigned long long>(damaged), static_cast<unsigned long long>(count),
                    static_cast<unsigned long long>(first), reason);
        return false;
    }
    if (damaged)
        std::printf("%s: %llu damaged records skipped (the first is record %llu: %s)\n", path,
                    static_cast<unsigned long long>(damaged), static_cast<unsigned long long>(first), reason);
    if (const u64 rest = file.view.size % sizeof(TrainRecord))
        std::printf("%s: the last %llu bytes are a piece of a record and are ignored\n", path,
                    static_cast<unsigned long long>(rest));
    data->damaged_count += damaged;
    return true;
}

static bool add_file(DataSet *data, const std::string &path, bool has_result) {
    for (const DataFile &other : data->files) {
        if (other.path != path) continue;
        std::printf("%s: named twice; the first mention counts\n", path.c_str());
        return true;
    }
    const FileHandle handle = open_read_only(path.c_str());
    DataFile file = {path, {}, has_result};
    u64 size = 0;
    unsigned long error = 0;
    if (handle.handle < 0 || !file_size(handle, &size)) {
        std::printf("%s: can't be opened\n", path.c_str());
        return false;
    }
    if (size < sizeof(TrainRecord)) {
        std::printf("%s: no records\n", path.c_str());
        close_file(handle);
        return true;
    }
    const MapResult result = map_file(handle, &file.view, &error);
    close_file(handle);
    if (result != MAP_OK) {
        std::printf("%s: can't be mapped (error %lu)\n", path.c_str(), error);
        return false;
    }
    if (!check_records(data, file)) {
        unmap_file(&file.view, &error);
        return false;
    }
    data->files.push_back(file);
    return true;
}

bool add_data_path(DataSet *data, const std::string &path, bool has_result) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) return add_file(data, path, has_result);
    std::vector<std::string> names;
    for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error))
        if (entry->path().extension() == ".bin") names.push_back(entry->path().string());
    if (error) {
        std::printf("%s: can't be listed\n", path.c_str());
        return false;
    }
    if (names.empty()) std::printf("%s: no files named *.bin\n", path.c_str());
    std::sort(names.begin(), names.end());
    return std::all_of(names.begin(), names.end(),
                       [&](const std::string &name) { return add_file(data, name, has_result); });
}

static u64 block_hash(const DataBlock &block) {
    u64 words[sizeof(TrainRecord) / sizeof(u64)];
    std::memcpy(words, block.records, sizeof words);
    u64 hash = HELD_OUT_SEED;
    for (const u64 word : words) hash = mix_bits(hash ^ word);
    return hash;
}

bool split_data(DataSet *data) {
    std::vector<DataBlock> blocks;
    for (const DataFile &file : data->files) {
        const u64 count = record_count(file);
        for (u64 first = 0; first < count; first += BLOCK_RECORDS) {
            const u64 length = std::min<u64>(BLOCK_RECORDS, count - first);
            blocks.push_back({records_of(file) + first, static_cast<int>(length), file.has_result});
        }
    }
    if (blocks.size() < 2) {
        std::printf("more than %d records are needed\n", BLOCK_RECORDS);
        return false;
    }
    // The lowest hashes are held out: a hundredth of all, and at least one.
    constexpr u64 HELD_OUT_BELOW = ~u64{0} / HELD_OUT_ONE_IN;
    std::vector<u64> hashes;
    for (const DataBlock &block : blocks) hashes.push_back(block_hash(block));
    const auto lowest = std::min_element(hashes.begin(), hashes.end()) - hashes.begin();
    const auto highest = hashes.rend() - std::max_element(hashes.rbegin(), hashes.rend()) - 1;
    data->training.clear();
    data->held_out.clear();
    for (std::ptrdiff_t i = 0; i < std::ssize(blocks); ++i) {
        const bool held_out = i == lowest || (i != highest && hashes[i] < HELD_OUT_BELOW);
        (held_out ? data->held_out : data->training).push_back(blocks[i]);
    }
    const auto middle = std::stable_partition(data->training.begin(), data->training.end(),
                                              [](const DataBlock &block) { return block.count == BLOCK_RECORDS; });
    data->whole_training_blocks = static_cast<u64>(middle - data->training.begin());
    data->training_count = data->held_out_count = 0;
    for (const DataBlock &block : data->training) data->training_count += static_cast<u64>(block.count);
    for (const DataBlock &block : data->held_out) data->held_out_count += static_cast<u64>(block.count);
    return true;
}

void close_data(DataSet *data) {
    unsigned long error;
    for (DataFile &file : data->files) unmap_file(&file.view, &error);
    *data = {};
}

DataItem training_item(const DataSet &data, u64 index) {
    u64 block = std::min<u64>(index / BLOCK_RECORDS, data.whole_training_blocks);
    u64 offset = index - block * BLOCK_RECORDS;
    while (offset >= static_cast<u64>(data.training[block].count)) {
        offset -= static_cast<u64>(data.training[block].count);
        ++block;
    }
    return {data.training[block].records + offset, data.training[block].has_result};
}

DataItem held_out_item(const DataSet &data, u64 index) {
    u64 block = 0;
    while (index >= static_cast<u64>(data.held_out[block].count)) {
        index -= static_cast<u64>(data.held_out[block].count);
        ++block;
    }
    return {data.held_out[block].records + index, data.held_out[block].has_result};
}
