// Stress of the whole program: random but legal games under every kind of limit, pondering, stops at random moments,
// option changes between searches. The answer must be one legal move, in time, and no line may come that nothing
// asked for. At a fault the conversation is printed, with the command that repeats its session; a file that holds
// it can be replayed.
//
//   stress PROGRAM [--searches N] [--seed N] [--threads N] [--hang SECONDS] [--late MS] [--session N]
//   stress PROGRAM --replay FILE
//
// A session is one run of the program. An answer that comes later than --hang (60 s) does not come; one that is later
// than --late milliseconds is a fault as well; without --late, late answers are only counted.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "board/make_move.h"
#include "stress/plan.h"
#include "stress/watch.h"
#include "support/engine.h"
#include "support/positions.h"
#include "support/program.h"
#include "support/response.h"
#include "support/timing.h"

static constexpr int SESSION_SEARCHES = 30;
static constexpr int MOST_FAULTS = 5;  // then the run ends

struct Setup {
    std::string program, replay;
    unsigned long long seed = 1;
    int searches = 300, threads = 8;
    int session = -1;    // only this one
    double hang = 60.0;  // seconds
    double late = 0;     // milliseconds, 0 for no limit
};

// Milliseconds, by what was waited for.
using Times = std::map<std::string, std::vector<double>>;

struct Session {
    const Setup &setup;
    Program program;
    Watch watch;
    double start = 0;
    std::string conversation;
    std::string fault;  // the first one; nothing is sent after it
    std::string heard;  // the last line
    int answers = 0;    // lines that a replay waits for
    Times *times = nullptr;
};

static double now_ms() { return 1000.0 * now_seconds(); }

// ---- one line ----

static void record(Session *session, char mark, const std::string &line) {
    char head[32];
    std::snprintf(head, sizeof head, "%12.3f %c ", now_ms() - session->start, mark);
    session->conversation += head + line + "\n";
}

static void set_fault(Session *session, const std::string &fault) {
    if (session->fault.empty()) session->fault = fault;
}

static void say(Session *session, const std::string &line) {
    if (!session->fault.empty()) return;
    record(session, '>', line);
    watch_sent(&session->watch, line);
    if (!session->program.send(line)) set_fault(session, "the program does not read \"" + line.substr(0, 40) + "\"");
}

static bool is_answer(const std::string &line) {
    return line == "readyok" || line == "uciok" || line == "info string Draw!" || line.rfind("bestmove", 0) == 0;
}

// Takes the next line, if one comes within this time, and checks it.
static bool hear(Session *session, double milliseconds) {
    if (!session->fault.empty()) return false;
    std::string line;
    if (!session->program.read_line(&line, std::max(milliseconds, 0.0) / 1000.0)) return false;
    record(session, '<', line);
    session->heard = line;
    session->answers += is_answer(line);
    const std::string fault = watch_said(&session->watch, line);
    if (!fault.empty()) set_fault(session, fault + ": \"" + line + "\"");
    return true;
}

// Hears lines until the word of the watch is down; a fault when that takes too long.
template <typename Condition>
static void hear_until(Session *session, const char *what, Condition is_done) {
    const double deadline = now_ms() + session->setup.hang * 1000.0;
    while (session->fault.empty() && !is_done()) {
        if (hear(session, deadline - now_ms())) continue;
        if (now_ms() >= deadline) set_fault(session, std::string("no answer to ") + what);
        else set_fault(session, std::string("the program ended before it answered ") + what);
    }
}

static void synchronise(Session *session) {
    const double start = now_ms();
    say(session, "isready");
    hear_until(session, "\"isready\"", [&] { return session->watch.ready_owed == 0; });
    (*session->times)["isready"].push_back(now_ms() - start);
}

// ---- one search ----

static void note_time(Session *session, const char *what, double milliseconds) {
    (*session->times)[what].push_back(milliseconds);
    if (session->setup.late > 0 && milliseconds > session->setup.late)
        set_fault(session, "an answer " + std::to_string(milliseconds) + " ms late (" + what + ")");
}

// Sends "go" and what the plan has for the time after it, up to the answer.
static void search(Session *session, const SearchPlan &plan) {
    say(session, plan.go);
    const double start = now_ms();
    const double hang = session->setup.hang * 1000.0 + std::max(plan.time, 0.0);
    double stopped = -1, last_sent = 0;
    std::size_t next = 0;
    while (session->watch.searching && session->fault.empty()) {
        const double now = now_ms() - start;
        if (next < plan.events.size() && now >= plan.events[next].at) {
            const std::string &line = plan.events[next++].line;
            say(session, line);
            if (line == "stop" && stopped < 0) stopped = now;
            last_sent = now;
        } else {
            const double until = next < plan.events.size() ? plan.events[next].at : last_sent + hang;
            if (hear(session, until - now) || next < plan.events.size()) continue;
            set_fault(session,
                      session->program.running() ? "no answer to \"go\"" : "the program ended during a search");
        }
    }
    const double elapsed = now_ms() - start;
    if (stopped >= 0) note_time(session, "stop", elapsed - stopped);
    else if (plan.clock) note_time(session, "clock", elapsed - plan.time);
    else if (plan.time >= 0) note_time(session, "movetime", elapsed - plan.time);
}

// Plays the answer and a reply of the opponent, now and then the one that was pondered on. False when the game is over.
static bool play_on(Plan *plan, const Watch &watch) {
    Position *position = &root_thread_state->position;
    if (watch.best_move.empty() || watch.best_move == "null") return false;
    plan->moves.push_back(watch.best_move);
    make_game_move(position, move_of(position, watch.best_move));
    const std::string reply = !watch.ponder_move.empty() && chance(plan, 50) ? watch.ponder_move : draw_move(plan);
    if (reply.empty() || chance(plan, 10)) return true;  // the other side goes on
    plan->moves.push_back(reply);
    make_game_move(position, move_of(position, reply));
    return true;
}

// ---- one session ----

static void begin_game(Session *session, Plan *plan) {
    const bool was_chess960 = plan->chess960;
    draw_game(plan);
    if (plan->chess960 != was_chess960)
        say(session, std::string("setoption name UCI_Chess960 value ") + (plan->chess960 ? "true" : "false"));
    if (chance(plan, 70)) say(session, "ucinewgame");
}

static void between_searches(Session *session, Plan *plan) {
    if (chance(plan, 40))
        for (int i = draw(plan, 1, 4); i > 0; --i) say(session, draw_option(plan));
    if (chance(plan, 5)) {
        say(session, "uci");
        hear_until(session, "\"uci\"", [&] { return !session->watch.listing; });
    }
    if (chance(plan, 50)) synchronise(session);
    // What belongs to a search does nothing without one.
    if (chance(plan, 10)) say(session, chance(plan, 50) ? "stop" : "ponderhit");
}

// "quit" or the end of input, idle or during a search. What is under way and ends by itself is answered after the end
// of input; the exit status is 0 and standard error empty.
static void end_session(Session *session, Plan *plan) {
    const bool with_quit = chance(plan, 60), during_search = chance(plan, 50);
    if (during_search) {
        say(session, position_command(*plan));
        // A depth can be out of reach in a crowded position, and after the end of input nothing stops the search.
        const char *const with_end = with_quit ? "go depth 6" : "go movetime 40";
        say(session, chance(plan, 50) ? "go infinite" : with_end);
        const double until = now_ms() + draw(plan, 0, 30);
        while (now_ms() < until && hear(session, until - now_ms())) {}
    }
    if (!session->fault.empty()) return;
    const double start = now_ms();
    if (with_quit) {
        say(session, "quit");
    } else {
        record(session, '=', "end of input");
        session->watch.holding = false;
        session->program.close_input();
    }
    while (hear(session, session->setup.hang * 1000.0)) {}
    const int status = session->program.wait_exit(session->setup.hang);
    note_time(session, "quit", now_ms() - start);
    if (status == -1) set_fault(session, "the program did not end");
    else if (status != 0) set_fault(session, "exit status " + std::to_string(status));
    else if (!with_quit && session->watch.searching) set_fault(session, "no answer after the end of input");
}

// One run of the program, of so many searches.
static void run_session(Session *session, Plan *plan, int searches) {
    synchronise(session);
    bool in_game = false;
    for (int i = 0; i < searches && session->fault.empty(); ++i) {
        if (!in_game || chance(plan, 8)) begin_game(session, plan);
        between_searches(session, plan);
        say(session, position_command(*plan));
        const SearchPlan searched = draw_search(plan, root_thread_state->position.stm);
        search(session, searched);
        in_game = session->fault.empty() && play_on(plan, session->watch);
    }
    end_session(session, plan);
}

// Prints the fault and all that led to it.
static void report_fault(Session *session, int number) {
    const Setup &setup = session->setup;
    const int status = session->program.wait_exit(0.2);
    std::printf("FAULT: %s\n", session->fault.c_str());
    std::printf("the session again: --seed %llu --threads %d --session %d\n", setup.seed, setup.threads, number);
    std::printf("milliseconds, > to the program, < from it:\n%s", session->conversation.c_str());
    if (status >= 0) std::printf("exit status %d\n", status);
    const std::string errors = session->program.error_output();
    if (!errors.empty()) std::printf("standard error:\n%s", errors.c_str());
    std::fflush(stdout);
}

static Session make_session(const Setup &setup, const std::string &directory, Times *times) {
    ProgramSetup program;
    program.executable = setup.program;
    program.directory = directory;
    return {setup, Program(program), {}, now_ms(), "", "", "", 0, times};
}

// True if the session was without a fault.
static bool finish_session(Session *session, int number) {
    if (session->fault.empty() && !session->program.error_output().empty())
        set_fault(session, "output on standard error");
    if (session->fault.empty()) return true;
    report_fault(session, number);
    return false;
}

// ---- replay ----

// Sends the lines of a recorded conversation, each as long after the answer or line before it as it was then. Lines
// of other forms are not read, so the output of a run can be given as it is.
static void replay(Session *session, std::ifstream &file) {
    double last = 0;
    int answers = 0;
    for (std::string line; std::getline(file, line);) {
        double at = 0;
        char mark = 0;
        int length = 0;
        if (std::sscanf(line.c_str(), "%lf %c %n", &at, &mark, &length) < 2 || length < 15) continue;
        const std::string text = line.substr(static_cast<std::size_t>(length));
        if (mark == '<') {
            if (!is_answer(text)) continue;
            ++answers;
            hear_until(session, "the line before", [&] { return session->answers >= answers; });
        } else {
            const double until = now_ms() + at - last;
            while (now_ms() < until && session->fault.empty())
                if (!hear(session, until - now_ms())) break;
            if (mark == '>') say(session, text);
            else session->program.close_input();
        }
        last = at;
    }
    if (session->fault.empty()) hear(session, 1000);
}

// ---- main ----

static void print_times(const Times &times) {
    std::puts("milliseconds from \"stop\", \"isready\" and the end to the answer, and beyond a limit of time:");
    for (const auto &[what, list] : times)
        std::printf("  %-10s %7zu   median %9.2f   99%% %9.2f   worst %9.2f\n", what.c_str(), list.size(),
                    share_of(list, 0.5), share_of(list, 0.99), share_of(list, 1.0));
    const auto clocks = times.find("clock");
    if (clocks != times.end())
        std::printf("  lost on time: %td\n",
                    std::count_if(clocks->second.begin(), clocks->second.end(), [](double late) { return late > 0; }));
}

// Runs the sessions; the number of those with a fault.
static int run_all(const Setup &setup, const std::string &directory) {
    Times times;
    int faults = 0, done = 0, number = std::max(setup.session, 0);
    const double start = now_ms();
    for (; done < setup.searches && faults < MOST_FAULTS; ++number) {
        const int searches = std::min(SESSION_SEARCHES, setup.searches - done);
        Plan plan;
        plan.random.seed(setup.seed * 1000003 + static_cast<unsigned long long>(number));
        plan.most_threads = setup.threads;
        start_engine();
        Session session = make_session(setup, directory, &times);
        run_session(&session, &plan, searches);
        faults += !finish_session(&session, number);
        done += searches;
        if (setup.session >= 0) break;
        if ((number + 1) % 20 == 0) {
            std::printf("%d searches, %.0f s\n", done, (now_ms() - start) / 1000.0);
            std::fflush(stdout);
        }
    }
    print_times(times);
    std::printf("%d searches in %.0f s, seed %llu, up to %d threads: %d faults\n", done, (now_ms() - start) / 1000.0,
                setup.seed, setup.threads, faults);
    return faults;
}

static bool read_arguments(int argc, char **argv, Setup *setup) {
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name[0] != '-' && setup->program.empty()) {
            setup->program = name;
            continue;
        }
        if (i + 1 == argc) return false;
        const char *value = argv[++i];
        if (name == "--seed") setup->seed = std::strtoull(value, nullptr, 10);
        else if (name == "--searches") setup->searches = std::atoi(value);
        else if (name == "--threads") setup->threads = std::atoi(value);
        else if (name == "--session") setup->session = std::atoi(value);
        else if (name == "--hang") setup->hang = std::atof(value);
        else if (name == "--late") setup->late = std::atof(value);
        else if (name == "--replay") setup->replay = value;
        else return false;
    }
    // The program runs in another directory.
    setup->program = std::filesystem::absolute(setup->program).string();
    return std::filesystem::exists(setup->program) && setup->searches > 0 && setup->threads > 0 && setup->hang > 0;
}

int main(int argc, char **argv) {
    Setup setup;
    if (!read_arguments(argc, argv, &setup)) {
        std::fputs(
            "usage: stress PROGRAM [--searches N] [--seed N] [--threads N] [--hang SECONDS] [--late MS]"
            " [--session N] [--replay FILE]\n",
            stderr);
        return 2;
    }
    start_engine();
    const ScratchDirectory directory;
    if (!write_option_files(directory.path)) {
        std::fputs("can't write the files for the program\n", stderr);
        return 2;
    }
    if (setup.replay.empty()) return run_all(setup, directory.path) ? 1 : 0;
    std::ifstream file(setup.replay);
    if (!file) {
        std::fprintf(stderr, "can't read %s\n", setup.replay.c_str());
        return 2;
    }
    Times times;
    Session session = make_session(setup, directory.path, &times);
    replay(&session, file);
    if (!finish_session(&session, 0)) return 1;
    std::puts("no fault");
    return 0;
}
