// PGN tokens and games.
#include "formats/pgn.h"

#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "base/text.h"

constexpr int COMMENT_MATE_SCORE = 9900;  // centipawns
constexpr double COMMENT_SCORE_LIMIT = 9000.0;

// ---- Tokens ----

static char closing_mark(char c) { return c == '{' ? '}' : c == '(' ? ')' : c == '[' ? ']' : c == '"' ? '"' : '\0'; }

static bool is_mark(char c) { return c == '{' || c == '}' || c == '(' || c == ')'; }

static const char *end_of_token(const char *token, PgnBrackets brackets) {
    if (brackets == PGN_MARKS) {
        if (is_mark(*token)) return token + 1;
        while (*token && *token != ' ' && !is_mark(*token)) ++token;
        return token;
    }
    if (const char close = closing_mark(*token)) {
        const char *end = std::strchr(token + 1, close);
        return end ? end + 1 : token + std::strlen(token);
    }
    while (*token && *token != ' ') ++token;
    return token;
}

const char *find_pgn_token(const char **cursor, PgnBrackets brackets, std::size_t *length) {
    const char *token = *cursor;
    while (*token == ' ' || *token == '\n') ++token;
    *cursor = *token ? end_of_token(token, brackets) : token;
    *length = static_cast<std::size_t>(*cursor - token);
    return *token ? token : nullptr;
}

// What is joined to a closing bracket loses its first character to the end mark.
char *pgn_split(char **rest) {
    const char *cursor = *rest;
    std::size_t length;
    const char *found = find_pgn_token(&cursor, PGN_WHOLE, &length);
    char *token = *rest + (cursor - *rest) - length;
    char *end = token + length;
    *rest = *end ? end + 1 : end;
    if (!found) return nullptr;
    *end = '\0';
    return token;
}

// The buffer keeps one character free beyond the token, because reading a move may insert a '='.
bool pgn_next_token(const char **cursor, char *token) {
    std::size_t length;
    const char *found = find_pgn_token(cursor, PGN_MARKS, &length);
    int copied = 0;
    for (std::size_t i = 0; found && i < length; ++i) {
        const u8 c = static_cast<u8>(found[i]);
        if (c >= 32 && c < 128 && copied < PGN_TOKEN - 2) token[copied++] = found[i];
    }
    token[copied] = '\0';
    return found != nullptr;
}

// ---- A game ----

// `text` is the tag with its brackets. False when the game ended by other means than play.
static bool read_tag(PgnGame *game, char *text) {
    ++text;
    if (char *close = std::strchr(text, ']')) *close = '\0';
    const char *name = pgn_split(&text);
    if (!name) return true;
    char *value = pgn_split(&text);
    if (!value) value = text;  // nothing after the name: an empty value
    if (*value == '"') ++value;
    if (char *quote = std::strchr(value, '"')) *quote = '\0';

    if (!std::strcmp(name, "Result")) {
        game->result = std::strstr(value, "1-0") ? 1 : std::strstr(value, "0-1") ? -1 : 0;
    } else if (!std::strcmp(name, "FEN")) {
        copy_text(game->fen, value, sizeof game->fen);
    } else if (!std::strcmp(name, "Termination")) {
        return !std::strstr(value, "unterminated") && !std::strstr(value, "time forfeit") &&
               !std::strstr(value, "abandoned");
    } else if (!std::strcmp(name, "Annotator")) {
        if (const char *eval = std::strstr(value, "eval="))
            game->annotator_eval = static_cast<i16>(integer_in_range(eval + 5, -INT_MAX, INT_MAX));
    }
    return true;
}

// The evaluation in a comment as match programs write it, "{+0.32/15 0.1s}": pawns, "/", depth.
static int comment_score(char *comment) {
    if (std::strstr(comment, "book")) return 0;
    char *slash = std::strchr(comment, '/');
    if (!slash) return 0;
    *slash = '\0';
    const char *text = comment + 1;  // after the brace
    if (slash - text < 3) return 0;
    if (std::strstr(text, "-M")) return -COMMENT_MATE_SCORE;
    if (std::strstr(text, "+M")) return COMMENT_MATE_SCORE;
    const double score = decimal_of(text) * 100.0;
    return static_cast<int>(score > COMMENT_SCORE_LIMIT    ? COMMENT_SCORE_LIMIT
                            : score < -COMMENT_SCORE_LIMIT ? -COMMENT_SCORE_LIMIT
                                                           : score);
}

// Without check, mate and promotion marks: "e8=Q+" is stored as "e8Q".
static void store_move(PgnGame *game, int index, const char *token) {
    char *out = game->moves[index];
    int length = 0;
    for (; *token && length < PGN_MOVE_TEXT - 1; ++token)
        if (*token != '#' && *token != '+' && *token != '=') out[length++] = *token;
    out[length] = '\0';
    game->scores[index] = 0;
}

void pgn_parse_game(PgnGame *game, char *text) {
    ++game->game_number;
    game->result = game->annotator_eval = 0;
    game->fen[0] = '\0';
    int count = 0;
    while (char *token = pgn_split(&text)) {
        if (*token == '[') {
            if (!read_tag(game, token)) return;
        } else if (*token == '{') {
            const int score = comment_score(token);
            if (count) game->scores[count - 1] = static_cast<i16>(score);
        } else if (std::isalpha(static_cast<unsigned char>(*token))) {
            store_move(game, count, token);
            if (++count == PGN_MOVES) break;
        }
    }
    game->move_count = count;
}
