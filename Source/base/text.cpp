#include "base/text.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

void copy_text(char *target, const char *source, std::size_t size) {
    if (size == 0) return;
    std::size_t length = 0;
    while (length + 1 < size && source[length]) length++;
    std::memmove(target, source, length);
    target[length] = '\0';
}

i64 number_in_range(const char *text, i64 low, i64 high) {
    return std::clamp(static_cast<i64>(std::strtoll(text, nullptr, 10)), low, high);
}

int integer_in_range(const char *text, int low, int high) { return static_cast<int>(number_in_range(text, low, high)); }

double decimal_of(const char *text) {
    const double value = std::strtod(text, nullptr);
    return std::isnan(value) ? 0.0 : value;
}

bool read_whole_number(const char *text, i64 low, i64 high, i64 *out) {
    char *end;
    const i64 number = std::strtoll(text, &end, 10);
    if (end == text || *end) return false;
    *out = std::clamp(number, low, high);
    return true;
}

bool read_decimal(const char *text, double low, double high, double *out) {
    char *end;
    const double number = std::strtod(text, &end);
    if (end == text || *end || std::isnan(number)) return false;
    *out = std::clamp(number, low, high);
    return true;
}
