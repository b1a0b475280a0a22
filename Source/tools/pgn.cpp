// Reading PGN games and writing their positions as EPD.
#include "tools/pgn.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "board/make_move.h"
#include "board/notation.h"
#include "board/thread_state.h"
#include "control/output.h"
#include "control/settings.h"
#include "tools/text_lines.h"

constexpr int SKIPPED_PLIES = 16;          // opening moves of a game from the start position
constexpr int SKIPPED_PLIES_FROM_FEN = 4;  // of a game from a set-up position
constexpr int EXPORTED_PLIES = 240;
constexpr int SHORTEST_FEN = 11;          // a shorter FEN tag stands for the start position
constexpr int SHORTEST_LAST_GAME = 50;    // characters; a last game that isn't longer isn't read
constexpr int COMMENT_MATE_SCORE = 9900;  // centipawns
constexpr double COMMENT_SCORE_LIMIT = 9000.0;

static char closing_mark(char c) { return c == '{' ? '}' : c == '(' ? ')' : c == '[' ? ']' : c == '"' ? '"' : '\0'; }

// A bracketed token keeps its closing mark, and the end mark overwrites the character behind it: what
// is joined to a bracket loses its first character. An unclosed one runs to the end of the text.
char *pgn_split(char **rest) {
    char *token = *rest;
    while (*token == ' ' || *token == '\n') ++token;
    if (!*token) {
        *rest = token;
        return nullptr;
    }
    char *end;
    if (const char close = closing_mark(*token)) {
        end = std::strchr(token + 1, close);
        end = end ? end + 1 : token + std::strlen(token);
    } else {
        end = token;
        while (*end && *end != ' ') ++end;
    }
    *rest = *end ? end + 1 : end;
    *end = '\0';
    return token;
}

// `text` is the tag with its brackets. False when the game ended by other means than play.
static bool read_tag(PgnGame *game, char *text) {
    ++text;
    if (char *close = std::strchr(text, ']')) *close = '\0';
    const char *name = pgn_split(&text);
    if (!name) return true;
    char *value = pgn_split(&text);
    if (!value) value = text;  // nothing behind the name: an empty value
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
            game->annotator_eval = static_cast<i16>(read_integer(eval + 5));
    }
    return true;
}

// The evaluation in a comment as match programs write it, "{+0.32/15 0.1s}": pawns, "/", depth.
static int comment_score(char *comment) {
    if (std::strstr(comment, "book")) return 0;
    char *slash = std::strchr(comment, '/');
    if (!slash) return 0;
    *slash = '\0';
    const char *text = comment + 1;  // behind the brace
    if (slash - text < 3) return 0;
    if (std::strstr(text, "-M")) return -COMMENT_MATE_SCORE;
    if (std::strstr(text, "+M")) return COMMENT_MATE_SCORE;
    const double score = read_number(text) * 100.0;
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

// One EPD line; an engine's games carry scores, a game annotated with one evaluation is bare.
static void write_position(const PgnGame *game, int ply, const Position *position, std::FILE *out) {
    char fen[FEN_SIZE];
    position_to_fen(position, fen, 0);
    if (game->annotator_eval) {
        std::fprintf(out, "%s\n", fen);
        return;
    }
    const int result = position->stm ? -game->result : game->result;
    std::fprintf(out, "%s ce %d; gr %0.1f;\n", fen, game->scores[ply], 0.5 + 0.5 * result);
}

void pgn_export_game(PgnGame *game, std::FILE *out) {
    Position *position = &root_thread_state->position;
    int skipped = SKIPPED_PLIES;
    if (std::strlen(game->fen) < SHORTEST_FEN) {
        set_position_from_text(position, STARTPOS_FEN);
    } else {
        set_position_from_text(position, game->fen);
        skipped = SKIPPED_PLIES_FROM_FEN;
    }
    if (!game->move_count) return;
    for (int ply = 0; ply < EXPORTED_PLIES; ++ply) {
        // The position behind the last move is written too, with the score that its place holds:
        // 0, or one of a longer game before.
        if (ply >= skipped) write_position(game, ply, position, out);
        if (ply >= game->move_count) return;
        char text[PGN_MOVE_TEXT + 2];  // the parser of moves can lengthen it
        copy_text(text, game->moves[ply], sizeof text);
        Move move;
        if (!parse_san(position, text, &move)) {
            char fen[FEN_SIZE];
            position_to_fen(position, fen, 0);
            print_format("can't parse move %d. %s in game #%d  %s", ply / 2 + 1, text, game->game_number, fen);
            return;
        }
        make_game_move(position, move);
    }
}

// A game's text while its lines come in.
struct GameText {
    char text[PGN_GAME_TEXT];
    std::size_t stored;  // characters in `text`
    i64 length;          // of all lines so far; those that no longer fit count too, so none follows
};

static void clear_text(GameText *game) {
    game->text[0] = '\0';
    game->stored = 0;
    game->length = 0;
}

static void append_line(GameText *game, const char *line, std::size_t length) {
    game->length += static_cast<i64>(length);
    if (game->length >= PGN_GAME_TEXT) return;
    std::memcpy(game->text + game->stored, line, length + 1);
    game->stored += length;
}

// Games are told apart by their tag lines alone: the first line with "[" behind other lines begins
// the next game.
static void scan_games(std::FILE *in, std::FILE *out, PgnGame *game, GameText *gathered) {
    char line[511];
    int tag_lines = 1;
    while (read_text_line(line, sizeof line, in)) {
        const std::size_t length = std::strlen(line);
        if (*line == '[') {
            if (++tag_lines == 1) {
                pgn_parse_game(game, gathered->text);
                pgn_export_game(game, out);
                clear_text(gathered);
            }
        } else {
            tag_lines = 0;
        }
        if (length && line[length - 1] == '\n') line[length - 1] = ' ';
        append_line(gathered, line, length);
    }
    if (gathered->length > SHORTEST_LAST_GAME) {
        pgn_parse_game(game, gathered->text);
        pgn_export_game(game, out);
    }
}

void scan_pgn() {
    if (!std::strstr(settings.pgn_file, ".pgn") || !std::strstr(settings.out_file, ".epd")) return;
    std::FILE *in = std::fopen(settings.pgn_file, "rb");
    if (!in) return;
    std::FILE *out = std::fopen(settings.out_file, "w");
    if (!out) {
        std::fclose(in);
        return;
    }
    static PgnGame game;
    static GameText gathered;
    game = PgnGame{};
    clear_text(&gathered);
    scan_games(in, out, &game, &gathered);
    std::fputs("\n", out);
    close_input(in, settings.pgn_file);
    close_output(out, settings.out_file);
    print_plain("read %d games\n\n", game.game_number);
}
