// Lines of the tools' text files.
#include "tools/text_lines.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "control/output.h"

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

bool is_remark(const char *line) { return *line == ' ' || *line == '#' || *line == ';'; }

bool split_epd_line(const char *line, EpdLine *out) {
    return parse_epd_line(line, out->fen, out->bm, out->am, out->ce, out->sc, out->gr, out->id, out->c0) != 0;
}

int read_integer(const char *text) {
    const long long value = std::strtoll(text, nullptr, 10);
    return static_cast<int>(value > INT_MAX ? INT_MAX : value < -INT_MAX ? -INT_MAX : value);
}

double read_number(const char *text) {
    const double value = std::strtod(text, nullptr);
    return std::isnan(value) ? 0.0 : value;
}

bool change_extension(const char *name, const char *from, const char *to, char *out, std::size_t size) {
    copy_text(out, name, size);
    char *found = std::strstr(out, from);
    if (!found) return false;
    std::memcpy(found, to, std::strlen(from));
    return true;
}

static bool close_stream(std::FILE *file, const char *name, const char *message) {
    if (!file) return true;
    const bool failed_before = std::ferror(file) != 0;
    const bool failed = std::fclose(file) != 0 || failed_before;
    if (failed) std::fprintf(stderr, message, name);
    return !failed;
}

bool close_input(std::FILE *file, const char *name) { return close_stream(file, name, "error reading %s\n"); }
bool close_output(std::FILE *file, const char *name) { return close_stream(file, name, "error writing %s\n"); }
