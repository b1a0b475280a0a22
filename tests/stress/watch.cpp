#include "stress/watch.h"

#include <algorithm>
#include <sstream>

#include "base/settings.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "support/positions.h"

using Words = std::vector<std::string>;

static Words words_of(const std::string &line) {
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

static bool starts_with(const std::string &line, const std::string &prefix) { return line.rfind(prefix, 0) == 0; }

static bool is_number(const std::string &word) {
    const std::size_t first = !word.empty() && word[0] == '-';
    return word.size() > first && word.find_first_not_of("0123456789", first) == std::string::npos;
}

// ---- what is sent ----

static void follow_position(const Words &words) {
    const auto moves = std::find(words.begin(), words.end(), "moves");
    std::string fen = STARTPOS_FEN;
    if (words.size() > 2 && words[1] == "fen") {
        fen.clear();
        for (auto word = words.begin() + 2; word != moves; ++word) fen += *word + " ";
    }
    Position *position = set_up(fen);
    for (auto word = moves; word != words.end(); ++word)
        if (word != moves) make_game_move(position, move_of(position, *word));
}

static void follow_go(Watch *watch, const Words &words) {
    Position *position = &root_thread_state->position;
    watch->searching = true;
    watch->holding = std::find(words.begin(), words.end(), "ponder") != words.end();
    watch->best_move.clear();
    watch->ponder_move.clear();
    watch->drawn = is_game_drawn(position);
    watch->no_move = legal_moves(position).empty();
}

void watch_sent(Watch *watch, const std::string &line) {
    const Words words = words_of(line);
    if (words.empty()) return;
    if (words[0] == "isready") ++watch->ready_owed;
    else if (words[0] == "uci") watch->listing = true;
    else if (words[0] == "position") follow_position(words);
    else if (words[0] == "go") follow_go(watch, words);
    else if (words[0] == "stop" || words[0] == "ponderhit" || words[0] == "quit") watch->holding = false;
    if (words[0] == "setoption" || words[0] == "ucinewgame") {
        watch->options_open = true;
        watch->ready_before = watch->ready_owed;
    }
    if (starts_with(line, "setoption name UCI_Chess960 ")) settings.chess960 = line.find("true") != std::string::npos;
}

// ---- what is said ----

bool is_legal_line(const std::vector<std::string> &moves) {
    Position *position = &root_thread_state->position;
    int made = 0;
    bool legal = true;
    for (const std::string &text : moves) {
        legal = false;
        for (const Move move : legal_moves(position))
            if (text_of(position, move) == text) {
                make_move(position, move);
                legal = true;
                break;
            }
        if (!legal) break;
        ++made;
    }
    for (; made > 0; --made) unmake_move(position);
    return legal;
}

static std::string check_answer(Watch *watch, const Words &words) {
    if (!watch->searching) return "a \"bestmove\" that no search owes";
    watch->searching = false;
    if (words.size() != 2 && !(words.size() == 4 && words[2] == "ponder")) return "malformed \"bestmove\"";
    watch->best_move = words[1];
    watch->ponder_move = words.size() == 4 ? words[3] : "";
    if (watch->drawn) return "a \"bestmove\" in a drawn game";
    if (watch->no_move) return words[1] == "null" && words.size() == 2 ? "" : "a move where there is none";
    if (watch->holding) return "a \"bestmove\" before \"ponderhit\" or \"stop\"";
    Words moves = {words[1]};
    if (!is_legal_line(moves)) return "an illegal move";
    if (words.size() == 4) moves.push_back(words[3]);
    return is_legal_line(moves) ? "" : "an illegal move to ponder on";
}

// Reads "keyword number" at the word; false for anything else.
static bool take_number(const Words &words, std::size_t *at, const char *keyword, long long low, long long high) {
    if (*at + 1 >= words.size() || words[*at] != keyword || !is_number(words[*at + 1])) return false;
    const long long number = std::atoll(words[*at + 1].c_str());
    *at += 2;
    return number >= low && number <= high;
}

// The information line of a depth: all its fields in their order and range, and a legal line of moves.
static std::string check_information(const Words &words) {
    constexpr long long MOST = 1LL << 50;
    const bool periodic = words.size() == 11;  // the line of a long search, without score and moves
    std::size_t at = 1;
    if (words[at] == "multipv" && !take_number(words, &at, "multipv", 1, 255)) return "malformed multipv";
    bool well = take_number(words, &at, "depth", 1, 100);
    if (well && !(periodic && words[at] == "time")) {
        well = take_number(words, &at, "seldepth", 0, 255) && at < words.size() && words[at] == "score";
        ++at;
        well = well && (take_number(words, &at, "cp", -10000, 10000) || take_number(words, &at, "mate", -100, 100));
    }
    for (const char *keyword : {"time", "nodes", "nps"}) well = well && take_number(words, &at, keyword, 0, MOST);
    if (well && words[at] == "tbhits") well = take_number(words, &at, "tbhits", 0, MOST);
    well = well && take_number(words, &at, "hashfull", 0, 1000);
    if (!well) return "malformed information";
    if (periodic && at == words.size()) return "";
    if (at >= words.size() || words[at] != "pv") return "malformed information";
    const Words moves(words.begin() + static_cast<long>(at) + 1, words.end());
    if (moves.empty()) return "no moves after \"pv\"";
    return is_legal_line(moves) ? "" : "an illegal move in the line";
}

static bool is_any_of(const std::string &line, std::initializer_list<const char *> prefixes) {
    return std::any_of(prefixes.begin(), prefixes.end(), [&](const char *p) { return starts_with(line, p); });
}

// Lines that come with the start, an option, "uci" or a search, and only then.
static bool is_expected_text(const Watch *watch, const std::string &line) {
    if (watch->starting && is_any_of(line, {"info string Hello from ", "info string et="})) return true;
    if (watch->listing && is_any_of(line, {"id name ", "id author ", "option name "})) return true;
    if (watch->options_open &&
        (is_any_of(line, {"info string allocated ", "info string Cleared hash table", "info string Hash table cleared",
                          "info string loaded ", "info string cut.bin: ", "info string loading parameters from ",
                          "info string Found "}) ||
         (starts_with(line, "info string ") && line.find(" set to ") != std::string::npos)))
        return true;
    return watch->searching &&
           is_any_of(line, {"info string TB result is ", "info string ( book moves are: ", "info string book move is ",
                            "info string fen ", "info string clock= "});
}

std::string watch_said(Watch *watch, const std::string &line) {
    const Words words = words_of(line);
    if (line == "readyok") {
        if (watch->ready_owed == 0) return "a \"readyok\" that nobody asked for";
        --watch->ready_owed;
        if (watch->ready_before > 0) --watch->ready_before;
        else watch->options_open = watch->starting = false;
        return "";
    }
    if (!words.empty() && words[0] == "bestmove") return check_answer(watch, words);
    if (line == "info string Draw!") {
        if (!watch->searching || !watch->drawn) return "no draw";
        watch->searching = false;
        return "";
    }
    if (line == "uciok" && watch->listing) {
        watch->listing = false;
        return "";
    }
    if (is_expected_text(watch, line)) return "";
    if (watch->searching && words.size() > 1 && words[0] == "info" && words[1] != "string")
        return check_information(words);
    return "a stray line";
}
