#include "support/response.h"

#include <algorithm>
#include <memory>
#include <random>
#include <sstream>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/position.h"
#include "support/positions.h"
#include "support/program.h"
#include "support/shared_data.h"
#include "support/timing.h"

static constexpr double HANG_SECONDS = 60.0;  // an answer that takes so long does not come

std::vector<std::string> read_epd_positions(const std::string &path) {
    std::vector<std::string> positions;
    for (const std::string &line : read_lines(path)) {
        std::istringstream words(line);
        std::string board, side, castling, passed;
        if (line.empty() || line[0] == '#' || !(words >> board >> side >> castling >> passed)) continue;
        positions.push_back(board + " " + side + " " + castling + " " + passed);
    }
    return positions;
}

std::vector<std::string> random_positions(int count, unsigned seed) {
    constexpr int LONGEST_GAME = 120;
    std::mt19937 random(seed);
    std::vector<std::string> positions;
    while (static_cast<int>(positions.size()) < count) {
        Position *position = set_up(STARTPOS_FEN);
        for (int ply = 0; ply < LONGEST_GAME; ++ply) {
            const std::vector<Move> moves = legal_moves(position);
            if (moves.empty()) break;
            make_game_move(position, moves[random() % moves.size()]);
            // A few of each game: neighbours are much alike.
            if (ply % 10 == 9 && static_cast<int>(positions.size()) < count) positions.push_back(fen_of(position));
        }
    }
    return positions;
}

static double milliseconds() { return 1000.0 * now_seconds(); }

static std::unique_ptr<Program> start_program(const ResponseSetup &setup) {
    std::vector<std::string> arguments;
    if (!setup.use_network) arguments.push_back("-use_hce");
    auto program = std::make_unique<Program>(arguments, setup.directory);
    program->send("setoption name Threads value " + std::to_string(setup.threads));
    program->send("setoption name OwnBook value false");
    program->send("isready");
    program->wait_for("readyok");
    return program;
}

// Sends the line and returns the milliseconds to the answer; its text goes to *answer, empty when none came.
static double time_answer(Program *program, const std::string &line, const std::string &prefix, std::string *answer) {
    answer->clear();
    const double start = milliseconds();
    program->send(line);
    for (std::string text; program->read_line(&text, HANG_SECONDS);)
        if (text.rfind(prefix, 0) == 0) {
            *answer = text;
            break;
        }
    return milliseconds() - start;
}

static bool is_legal_answer(const std::string &fen, const std::string &answer) {
    std::istringstream words(answer);
    std::string word, move;
    words >> word >> move;
    const Position *position = set_up(fen);
    for (const Move legal : legal_moves(const_cast<Position *>(position)))
        if (text_of(position, legal) == move) return true;
    return false;
}

// A search that is stopped after the delay; -1 when no legal move came.
static double time_stop(Program *program, const std::string &fen, int delay, std::vector<std::string> *faults) {
    program->send("position fen " + fen);
    program->send("go infinite");
    std::string answer;
    const double until = milliseconds() + delay;
    for (std::string line; answer.empty() && milliseconds() < until;)
        if (program->read_line(&line, (until - milliseconds()) / 1000.0) && line.rfind("bestmove", 0) == 0)
            answer = line;  // the search was over before
    const double time = answer.empty() ? time_answer(program, "stop", "bestmove", &answer) : 0;
    if (is_legal_answer(fen, answer)) return time;
    faults->push_back(fen + ", stop after " + std::to_string(delay) + " ms: \"" + answer + "\"");
    return -1;
}

ResponseTimes measure_responses(const ResponseSetup &setup, const std::vector<std::string> &positions, int quit_step) {
    ResponseTimes times;
    times.stop.resize(setup.stop_delays.size());
    std::unique_ptr<Program> program = start_program(setup);
    int number = 0;
    for (const std::string &fen : positions) {
        if (legal_moves(set_up(fen)).empty()) continue;
        for (std::size_t i = 0; i < setup.stop_delays.size(); ++i) {
            const double time = time_stop(program.get(), fen, setup.stop_delays[i], &times.faults);
            if (time < 0) return times;  // what comes after would belong to other searches
            times.stop[i].push_back(time);
        }
        program->send("position fen " + fen);
        program->send("go infinite");
        std::string answer;
        times.ready.push_back(time_answer(program.get(), "isready", "readyok", &answer));
        if (answer.empty()) {
            times.faults.push_back(fen + ": no answer to isready");
            return times;
        }
        program->send("stop");
        program->send("isready");
        program->wait_for("readyok", HANG_SECONDS);
        if (++number % quit_step == 0) {
            program->send("go infinite");
            const double start = milliseconds();
            program->send("quit");
            if (program->wait_exit(HANG_SECONDS) != 0) times.faults.push_back(fen + ": no end after quit");
            times.quit.push_back(milliseconds() - start);
            program = start_program(setup);
        }
    }
    return times;
}

double share_of(std::vector<double> values, double share) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<std::size_t>(share * static_cast<double>(values.size())))];
}
