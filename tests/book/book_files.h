// Helpers of the book tests: book files as bytes and back, and a working directory to make them in.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "book/book_record.h"
#include "support/files.h"

inline void append_number(std::string *bytes, u64 value, int size) {
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) *bytes += static_cast<char>(value >> shift);
}

// The bytes of a book file, put together independently of the program's own writer.
inline std::string book_bytes(const std::vector<BookRecord> &records) {
    std::string bytes;
    for (const BookRecord &record : records) {
        append_number(&bytes, record.key, 8);
        append_number(&bytes, record.move, 2);
        append_number(&bytes, record.weight, 2);
        append_number(&bytes, record.learn, 4);
    }
    return bytes;
}

inline u64 number_at(const std::string &bytes, std::size_t at, int size) {
    u64 value = 0;
    for (int i = 0; i < size; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

inline std::vector<BookRecord> book_records(const std::string &bytes) {
    std::vector<BookRecord> records;
    for (std::size_t at = 0; at + 16 <= bytes.size(); at += 16)
        records.push_back({number_at(bytes, at, 8), static_cast<u16>(number_at(bytes, at + 8, 2)),
                           static_cast<u16>(number_at(bytes, at + 10, 2)),
                           static_cast<u32>(number_at(bytes, at + 12, 4))});
    return records;
}

inline u16 book_code(const char *text, int promotion = 0) {
    const int from = (text[0] - 'a') + 8 * (text[1] - '1'), to = (text[2] - 'a') + 8 * (text[3] - '1');
    return static_cast<u16>(promotion << 12 | from << 6 | to);
}

// A scratch directory that is the working directory while it lives.
struct WorkingDirectory {
    ScratchDirectory scratch;
    std::filesystem::path before = std::filesystem::current_path();
    WorkingDirectory() { std::filesystem::current_path(scratch.path); }
    ~WorkingDirectory() { std::filesystem::current_path(before); }
};
