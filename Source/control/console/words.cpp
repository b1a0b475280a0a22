// Words and numbers of console lines.
#include "control/console/words.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "base/text.h"

void split_words(const char *line, ConsoleWords *words) {
    words->line = line + std::strspn(line, " ");
    const char *rest = words->line + std::strcspn(words->line, " ");
    words->after_first = rest + std::strspn(rest, " ");
    copy_text(words->text, words->line, sizeof words->text);
    char *at = words->text;
    for (const char *&word : words->word) {
        at += std::strspn(at, " ");
        word = at;
        at += std::strcspn(at, " ");
        if (*at) *at++ = '\0';
    }
}

bool read_duration(const char *text, double high, double *out) {
    const char *colon = std::strchr(text, ':');
    if (!colon) return read_decimal(text, 0.0, high, out);
    char minutes_text[32];
    const std::size_t length = static_cast<std::size_t>(colon - text);
    if (length >= sizeof minutes_text) return false;
    copy_text(minutes_text, text, length + 1);
    double minutes, seconds;
    if (!read_decimal(minutes_text, 0.0, high, &minutes) || !read_decimal(colon + 1, 0.0, high, &seconds)) return false;
    *out = std::min(minutes * 60.0 + seconds, high);
    return true;
}
