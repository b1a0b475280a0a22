// Lines of text files.
#include "formats/text_file.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "base/text.h"
#include "platform/interrupt.h"

// A directory can be opened on some systems and fails when it is read.
std::FILE *open_input(const char *name) {
    std::FILE *file = std::fopen(name, "rb");
    if (file) {
        const int first = std::getc(file);
        if (first != EOF) {
            std::ungetc(first, file);
            return file;
        }
        if (!std::ferror(file)) return file;
    }
    const int reason = errno;
    std::fprintf(stderr, "error reading %s: %s\n", name, std::strerror(reason));
    if (file) std::fclose(file);
    return nullptr;
}

bool close_input(std::FILE *file, const char *name) {
    if (!file) return true;
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) std::fprintf(stderr, "error reading %s\n", name);
    return !failed;
}

void start_lines(LineReader *reader, std::FILE *file, LineEnds ends) {
    reader->file = file;
    reader->ends = ends;
    reader->line.clear();
    reader->bytes = 0;
    reader->at = reader->size = 0;
}

bool next_line(LineReader *reader) {
    reader->line.clear();
    bool found_end = false;
    i64 taken = 0;
    while (!found_end) {
        if (reader->at == reader->size) {
            // The line may have no end. Half of it is worth nothing to a tool that is to stop.
            if (caught_interrupt()) {
                reader->line.clear();
                return false;
            }
            reader->at = 0;
            reader->size = std::fread(reader->buffer, 1, sizeof reader->buffer, reader->file);
            if (reader->size == 0) break;
        }
        const char *start = reader->buffer + reader->at;
        const std::size_t available = reader->size - reader->at;
        const void *end = std::memchr(start, '\n', available);
        found_end = end != nullptr;
        const std::size_t length =
            found_end ? static_cast<std::size_t>(static_cast<const char *>(end) - start) + 1 : available;
        const std::size_t room = LONGEST_LINE - reader->line.size();
        reader->line.append(start, length < room ? length : room);
        reader->at += length;
        taken += static_cast<i64>(length);
    }
    reader->bytes += taken;
    const std::size_t length = reader->line.size();
    if (reader->ends == LINES_WITHOUT_CR && length >= 2 && reader->line[length - 2] == '\r' &&
        reader->line[length - 1] == '\n')
        reader->line.erase(length - 2, 1);
    return taken > 0;
}

bool read_text_line(char *line, int size, std::FILE *file) {
    if (!std::fgets(line, size, file)) return false;
    const std::size_t length = std::strlen(line);
    if (length >= 2 && line[length - 2] == '\r' && line[length - 1] == '\n') {
        line[length - 2] = '\n';
        line[length - 1] = '\0';
    } else if (length + 1 == static_cast<std::size_t>(size) && line[length - 1] == '\r') {
        // The buffer ended between the two.
        const int next = std::getc(file);
        if (next == '\n') line[length - 1] = '\n';
        else if (next != EOF) std::ungetc(next, file);
    }
    return true;
}

bool change_extension(const char *name, const char *from, const char *to, char *out, std::size_t size) {
    if (!has_extension(name, from)) return false;
    copy_text(out, name, size);
    if (char *found = std::strstr(out, from)) std::memcpy(found, to, std::strlen(from));
    return true;
}

bool has_extension(const char *name, const char *extension) {
    if (std::strstr(name, extension)) return true;
    std::fprintf(stderr, "\"%s\" is not the name of a %s file\n", name, extension);
    return false;
}
