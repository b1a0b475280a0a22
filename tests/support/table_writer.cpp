#include "support/table_writer.h"

#include <algorithm>
#include <array>
#include <map>
#include <queue>
#include <utility>

static constexpr int LEAF = 4095;
static constexpr int CONSTANT_FLAG = 0x80;

static void put(std::string *out, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out->push_back(static_cast<char>(value >> (8 * i) & 255));
}

static void pad(std::string *out, std::size_t step) {
    while (out->size() % step) out->push_back(0);
}

// A symbol is a value (right == LEAF) or two symbols; `length` is the number of values it stands for.
struct Symbol {
    int left, right, length;
};

struct Paired {
    std::vector<Symbol> symbols;
    std::vector<int> text;  // the values, as symbols
};

// Replaces the commonest neighbours by a new symbol, again and again.
static Paired make_pairs(const std::vector<std::uint16_t> &values, int rounds) {
    Paired paired;
    std::map<int, int> symbol_of;
    for (const int value : values) {
        const auto [at, is_new] = symbol_of.try_emplace(value, static_cast<int>(paired.symbols.size()));
        if (is_new) paired.symbols.push_back({value, LEAF, 1});
        paired.text.push_back(at->second);
    }
    for (int round = 0; round < rounds; ++round) {
        const std::size_t size = paired.symbols.size();
        std::vector<int> counts(size * size);  // by left and right neighbour
        for (std::size_t i = 0; i + 1 < paired.text.size(); ++i) ++counts[paired.text[i] * size + paired.text[i + 1]];
        std::size_t best = 0;
        int best_count = 1;
        for (std::size_t pair = 0; pair < counts.size(); ++pair) {
            const int length = paired.symbols[pair / size].length + paired.symbols[pair % size].length;
            if (length <= 256 && counts[pair] > best_count) best_count = counts[pair], best = pair;
        }
        if (best_count < 2) break;
        const int left = static_cast<int>(best / size), right = static_cast<int>(best % size);
        const int made = static_cast<int>(size);
        paired.symbols.push_back({left, right, paired.symbols[left].length + paired.symbols[right].length});
        std::size_t kept = 0;
        for (std::size_t i = 0; i < paired.text.size(); ++i) {
            const bool match = i + 1 < paired.text.size() && paired.text[i] == left && paired.text[i + 1] == right;
            paired.text[kept++] = match ? made : paired.text[i];
            i += match;
        }
        paired.text.resize(kept);
    }
    return paired;
}

// Code length by symbol, 0 for one that the text doesn't use. One symbol alone gets length 1.
static std::vector<int> code_lengths(const Paired &paired) {
    struct Node {
        long weight;
        int left, right;
    };
    std::vector<Node> nodes;
    std::vector<long> counts(paired.symbols.size());
    for (const int symbol : paired.text) ++counts[symbol];
    using Item = std::pair<long, int>;
    std::priority_queue<Item, std::vector<Item>, std::greater<Item>> queue;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        nodes.push_back({counts[i], -1, -1});
        if (counts[i]) queue.push({counts[i], static_cast<int>(i)});
    }
    std::vector<int> lengths(nodes.size());
    if (queue.size() == 1) lengths[queue.top().second] = 1;
    while (queue.size() > 1) {
        const Item a = queue.top();
        queue.pop();
        const Item b = queue.top();
        queue.pop();
        nodes.push_back({a.first + b.first, a.second, b.second});
        queue.push({a.first + b.first, static_cast<int>(nodes.size()) - 1});
    }
    std::vector<int> depth(nodes.size());
    for (int i = static_cast<int>(nodes.size()) - 1; i >= 0; --i) {
        if (nodes[i].left < 0) continue;
        for (const int child : {nodes[i].left, nodes[i].right}) depth[child] = depth[i] + 1;
    }
    for (std::size_t i = 0; i < lengths.size(); ++i)
        if (depth[i]) lengths[i] = depth[i];
    return lengths;
}

struct Code {
    int min_length, max_length;
    std::vector<int> number;          // new number by symbol: longest codes first, unused ones last
    std::vector<int> length;          // by symbol
    std::vector<int> first;           // by length - min_length: first new number
    std::vector<std::uint64_t> base;  // lowest code of that length
};

static Code make_code(const Paired &paired) {
    Code code;
    code.length = code_lengths(paired);
    std::vector<int> order(paired.symbols.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return code.length[a] > code.length[b]; });
    code.number.resize(order.size());
    for (std::size_t i = 0; i < order.size(); ++i) code.number[order[i]] = static_cast<int>(i);
    code.max_length = code.length[order[0]];
    code.min_length = code.max_length;
    for (const int length : code.length)
        if (length) code.min_length = std::min(code.min_length, length);
    const int count = code.max_length - code.min_length + 1;
    code.first.assign(count, 0);
    code.base.assign(count, 0);
    for (int i = count - 1; i >= 0; --i)
        for (const int length : code.length) code.first[i] += length > code.min_length + i;
    for (int i = count - 2; i >= 0; --i)
        code.base[i] = (code.base[i + 1] + static_cast<std::uint64_t>(code.first[i] - code.first[i + 1])) / 2;
    return code;
}

struct Encoded {
    std::string header, index, sizes, data;
};

// Packs bits from the highest of each byte down.
struct BitWriter {
    std::string bytes;
    int used = 0;  // bits
    void put_bits(std::uint64_t value, int count) {
        for (int i = count - 1; i >= 0; --i, ++used) {
            if (used % 8 == 0) bytes.push_back(0);
            if (value >> i & 1) bytes.back() = static_cast<char>(bytes.back() | 128 >> used % 8);
        }
    }
};

static Encoded constant_stream(const StreamPlan &plan) {
    Encoded encoded;
    put(&encoded.header, plan.flags | CONSTANT_FLAG, 1);
    put(&encoded.header, plan.values[0], 1);
    return encoded;
}

static Encoded encode_stream(const StreamPlan &plan) {
    if (plan.constant) return constant_stream(plan);
    const Paired paired = make_pairs(plan.values, plan.pair_rounds);
    const Code code = make_code(paired);
    Encoded encoded;

    const int block_bytes = 1 << plan.block_bits;
    std::vector<std::size_t> block_start;  // number of a block's first value
    std::vector<int> block_values;
    BitWriter writer;
    std::size_t value = 0;
    const auto close_block = [&] {
        writer.bytes.resize(block_bytes);
        encoded.data += writer.bytes;
        writer = BitWriter();
    };
    for (const int symbol : paired.text) {
        const bool fits = writer.used + code.length[symbol] <= 8 * block_bytes;
        if (block_start.empty() || !fits || block_values.back() + paired.symbols[symbol].length > 65536) {
            if (!block_start.empty()) close_block();
            block_start.push_back(value);
            block_values.push_back(0);
        }
        const int i = code.length[symbol] - code.min_length;
        writer.put_bits(code.base[i] + static_cast<std::uint64_t>(code.number[symbol] - code.first[i]),
                        code.length[symbol]);
        block_values.back() += paired.symbols[symbol].length;
        value += paired.symbols[symbol].length;
    }
    close_block();
    for (const int count : block_values) put(&encoded.sizes, count - 1, 2);
    put(&encoded.sizes, 0, 2 * plan.padding);

    const std::size_t spacing = std::size_t{1} << plan.index_bits;
    for (std::size_t start = 0, block = 0; start < value; start += spacing) {
        const std::size_t middle = start + spacing / 2;
        while (block + 1 < block_start.size() && block_start[block + 1] <= middle) ++block;
        put(&encoded.index, block, 4);
        put(&encoded.index, middle - block_start[block], 2);
    }

    std::string &header = encoded.header;
    put(&header, plan.flags, 1);
    put(&header, plan.block_bits, 1);
    put(&header, plan.index_bits, 1);
    put(&header, plan.padding, 1);
    put(&header, block_values.size(), 4);
    put(&header, code.max_length, 1);
    put(&header, code.min_length, 1);
    for (const int first : code.first) put(&header, first, 2);
    put(&header, paired.symbols.size(), 2);
    std::vector<std::uint32_t> patterns(paired.symbols.size());
    for (std::size_t i = 0; i < patterns.size(); ++i) {
        const Symbol &symbol = paired.symbols[i];
        const bool leaf = symbol.right == LEAF;
        const int left = leaf ? symbol.left : code.number[symbol.left], right = leaf ? LEAF : code.number[symbol.right];
        patterns[code.number[i]] = static_cast<std::uint32_t>(left | right << 12);
    }
    for (const std::uint32_t pattern : patterns) put(&header, pattern, 3);
    if (patterns.size() % 2) put(&header, 0, 1);
    return encoded;
}

std::string table_bytes(const TablePlan &plan) {
    std::string out;
    put(&out, plan.magic, 4);
    put(&out, plan.flag_byte, 1);
    for (const auto &order : plan.orders)
        for (const int byte : order) put(&out, byte, 1);
    pad(&out, 2);
    std::vector<Encoded> streams;
    for (const StreamPlan &stream : plan.streams) streams.push_back(encode_stream(stream));
    for (const Encoded &stream : streams) out += stream.header;
    std::size_t map = 0;
    for (const StreamPlan &stream : plan.streams) {
        if (!(stream.flags & MAPPED_FLAG)) continue;
        const int width = stream.flags & WIDE_MAP_FLAG ? 2 : 1;
        pad(&out, width);
        for (const auto &part : plan.maps[map]) {
            put(&out, part.size(), width);
            for (const int value : part) put(&out, value, width);
        }
        ++map;
    }
    pad(&out, 2);
    for (const Encoded &stream : streams) out += stream.index;
    for (const Encoded &stream : streams) out += stream.sizes;
    for (const Encoded &stream : streams) {
        pad(&out, 64);
        out += stream.data;
    }
    pad(&out, 64);
    out.append(16, '\x5A');
    return out;
}

// The men of a name as piece codes, those that lead the index first: single men (the kings first),
// or the pawns of the side that has fewer.
static std::vector<int> order_of_men(const std::string &name, int *pawn_sides) {
    std::array<std::array<int, 7>, 2> counts{};
    int side = 0;
    for (const char letter : name) {
        if (letter == 'v') side = 1;
        else ++counts[side][std::string(" PNBRQK").find(letter)];
    }
    std::vector<int> men;
    const auto add = [&](int colour, int type) { men.insert(men.end(), counts[colour][type], type + 8 * colour); };
    *pawn_sides = (counts[0][1] > 0) + (counts[1][1] > 0);
    const int leading = counts[1][1] && (!counts[0][1] || counts[0][1] > counts[1][1]);
    add(leading, 1);
    add(!leading, 1);
    for (const bool single : {true, false})
        for (int type = 6; type >= 2; --type)
            for (int colour = 0; colour < 2; ++colour)
                if ((counts[colour][type] == 1) == single) add(colour, type);
    return men;
}

// Orders: the leading group's turn is the first, that of the other side's pawns the second.
static TablePlan plan_of_name(const std::string &name, bool two_sides) {
    TablePlan plan;
    int pawn_sides = 0;
    const std::vector<int> men = order_of_men(name, &pawn_sides);
    std::vector<std::uint8_t> order = {0};
    if (pawn_sides == 2) order.push_back(0x11);
    for (const int code : men) order.push_back(static_cast<std::uint8_t>(code | code << 4));
    plan.orders.assign(pawn_sides ? 4 : 1, order);
    plan.flag_byte = two_sides;
    return plan;
}

static bool is_symmetric(const std::string &name) {
    const std::size_t split = name.find('v');
    return name.substr(0, split) == name.substr(split + 1);
}

TablePlan constant_wdl_plan(const std::string &name, int left, int right) {
    TablePlan plan = plan_of_name(name, !is_symmetric(name));
    plan.magic = WDL_MAGIC;
    for (std::size_t group = 0; group < plan.orders.size(); ++group)
        for (int side = 0; side <= plan.flag_byte; ++side) {
            StreamPlan stream;
            stream.constant = true;
            stream.values = {static_cast<std::uint16_t>(side == 0 ? left : right)};
            plan.streams.push_back(stream);
        }
    return plan;
}

TablePlan constant_dtz_plan(const std::string &name, int flags) {
    TablePlan plan = plan_of_name(name, false);
    plan.magic = DTZ_MAGIC;
    for (std::size_t group = 0; group < plan.orders.size(); ++group) {
        StreamPlan stream;
        stream.constant = true;
        stream.values = {0};
        stream.flags = flags;
        plan.streams.push_back(stream);
    }
    return plan;
}
