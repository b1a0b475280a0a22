// Splitting EPD lines.
#include "formats/epd.h"

#include <cstring>

bool is_remark(const char *line) { return *line == ' ' || *line == '#' || *line == ';'; }

static const char *skip_blanks(const char *text) { return text + std::strspn(text, " "); }

static bool ends_line(char c) { return c == '\0' || c == '\n' || c == '\r'; }

// The text before the fourth blank; returns what follows.
static const char *take_fields(const char *line, char *fen) {
    int length = 0, fields = 0;
    for (; !ends_line(*line); ++line) {
        if (*line == ' ' && ++fields == 4) break;
        if (length < EPD_FIELD - 1) fen[length++] = *line;
    }
    fen[length] = '\0';
    return line;
}

// Move counters after the four fields do no harm.
static const char *skip_counters(const char *line) {
    for (;;) {
        while (*line >= '0' && *line <= '9') ++line;
        const char *next = skip_blanks(line);
        if (next == line || *next < '0' || *next > '9') return next;
        line = next;
    }
}

void split_epd_line(const char *line, EpdLine *out) {
    const struct {
        const char *name;
        char *value;
    } operations[] = {{"bm", out->bm}, {"am", out->am}, {"id", out->id}, {"c0", out->c0},
                      {"ce", out->ce}, {"sc", out->sc}, {"gr", out->gr}};
    for (const auto &operation : operations) operation.value[0] = '\0';
    line = skip_counters(take_fields(line, out->fen));
    for (bool first = true;; first = false) {
        line = skip_blanks(line);
        char name[3] = "", value[EPD_FIELD] = "";
        int name_length = 0, value_length = 0;
        for (; !ends_line(*line) && *line != ' ' && *line != ';'; ++line)
            if (name_length++ < 2) name[name_length - 1] = *line;
        for (; !ends_line(*line) && *line != ';'; ++line)
            if (*line != ' ' && value_length < EPD_FIELD - 1) value[value_length++] = *line;
        value[value_length] = '\0';
        if (*line != ';' || (first && name_length == 0)) return;
        ++line;
        for (const auto &operation : operations)
            if (name_length == 2 && !std::strcmp(name, operation.name)) std::strcpy(operation.value, value);
    }
}
