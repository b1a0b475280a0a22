#!/usr/bin/env python3
"""A match between two engines, or between two networks of one engine. Needs Python's standard library
and the program tarn-referee. See docs/training-match.md, or `match.py --help`."""

import argparse
import dataclasses
import hashlib
import json
import math
import os
import random
import re
import shlex
import signal
import sys
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import match_statistics as statistics
from match_engine import Engine, Interrupted, NoAnswer, ProgramEnded, Referee, SetupError, StopSignal
from match_game import FAULTS, WHITE_WINS, DRAWN, Limits, Opening, Rules, pgn_of_game, play_game
from match_stalls import StallWatch

FOLDER = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(FOLDER)
MAX_REPLAYS = 20  # of one game, after which its result counts
EXIT_DONE, EXIT_ERROR, EXIT_USAGE, EXIT_STOPPED = 0, 1, 2, 130


# ---- openings ----

def openings_of_epd(text):
    """One opening a line: a FEN of four or six fields; operations after it are ignored."""
    openings = []
    for number, line in enumerate(text.splitlines(), 1):
        fields = line.split()
        if not fields or fields[0].startswith("#"):
            continue
        if len(fields) < 4:
            raise ValueError(f"line {number}: no position")
        counters = fields[4:6] if len(fields) >= 6 and fields[4].isdigit() and fields[5].isdigit() else ["0", "1"]
        openings.append(Opening(" ".join(fields[:4] + counters), name=f"line {number}"))
    return openings


PGN_TOKEN = re.compile(r'\[\s*(\w+)\s+"((?:[^"\\]|\\.)*)"\s*\]|\{[^}]*\}|;[^\n]*|\(|\)|\$\d+|[^\s(){};]+')
PGN_RESULTS = ("1-0", "0-1", "1/2-1/2", "*")


def games_of_pgn(text):
    """(tags, [SAN]) of every game; comments, variations and glyphs are left out."""
    tags, moves, depth, games = {}, [], 0, []
    for token in PGN_TOKEN.finditer(text):
        word = token.group(0)
        if word[0] == "[" and token.group(1):
            if moves:  # a game without a result
                games.append((tags, moves))
                tags, moves, depth = {}, [], 0
            tags[token.group(1)] = token.group(2)
        elif word in "()":
            depth = max(0, depth + (1 if word == "(" else -1))
        elif depth or word[0] in "{;$":
            continue
        elif word in PGN_RESULTS:
            games.append((tags, moves))
            tags, moves = {}, []
        else:
            san = re.sub(r"^\d+\.*", "", word)
            if san:
                moves.append(san)
    if moves:
        games.append((tags, moves))
    return games


def openings_of_pgn(text, referee, plies, chess960):
    """The first `plies` half moves of every game (0: all of them)."""
    openings = []
    for number, (tags, sans) in enumerate(games_of_pgn(text), 1):
        fen = tags.get("FEN", "startpos")
        answer = referee.new_game(fen, chess960)
        if answer is None:
            raise ValueError(f"game {number}: {referee.reason}")
        moves = []
        for san in sans[: plies or None]:
            move = referee.move_of_san(san)
            if move is None:
                raise ValueError(f"game {number}: {san}: {referee.reason}")
            referee.play(move)
            moves.append(move)
        openings.append(Opening(fen if fen == "startpos" else " ".join(fen.split()), tuple(moves), f"game {number}"))
    return openings


def load_openings(path, referee, plies, chess960):
    """Every opening of the file that a game can start from; ValueError for one that is none."""
    with open(path, encoding="utf-8", errors="replace") as file:
        text = file.read()
    if path.lower().endswith(".pgn"):
        return openings_of_pgn(text, referee, plies, chess960)
    openings = openings_of_epd(text)
    for opening in openings:
        answer = referee.new_game(opening.fen, chess960)
        if answer is None:
            raise ValueError(f"{opening.name}: {referee.reason}")
        if answer[0] != "ongoing":
            raise ValueError(f"{opening.name}: the game is over there ({answer[0]})")
    return openings


# ---- standing ----

@dataclasses.dataclass
class Standing:
    """Results so far, from the view of engine A."""

    points: dict = dataclasses.field(default_factory=dict)  # game number: 1, 0.5 or 0
    faults: dict = dataclasses.field(default_factory=lambda: {side: dict.fromkeys(FAULTS, 0) for side in "ab"})

    def add(self, number, points):
        self.points[number] = points

    def wins_losses_draws(self):
        values = list(self.points.values())
        return values.count(1.0), values.count(0.0), values.count(0.5)

    def pairs(self):
        """Counts of the pairs that are complete, by their points."""
        counts = [0] * 5
        for number, points in self.points.items():
            if number % 2 == 0 and number + 1 in self.points:
                counts[round(2 * (points + self.points[number + 1]))] += 1
        return counts


def show_error(low, middle, high):
    # Adding 0 turns a negative zero into zero.
    low, middle, high = (round(value, 1) + 0.0 for value in (low, middle, high))
    return f"{middle:+.1f} [{low:+.1f}, {high:+.1f}]"


def describe(standing, sprt):
    """The standing on one line."""
    wins, losses, draws = standing.wins_losses_draws()
    pairs = standing.pairs()
    text = f"+{wins} -{losses} ={draws}  pairs {pairs}"
    elo = statistics.elo_interval(pairs)
    if elo:
        text += f"  Elo {show_error(elo[1], elo[0], elo[2])}"
    normalised = statistics.normalised_elo(pairs)
    if normalised:
        text += f"  nElo {normalised[0]:+.1f} +- {normalised[1]:.1f}"
    superiority = statistics.likelihood_of_superiority(pairs)
    if superiority is not None:
        text += f"  LOS {100.0 * superiority:.1f} %"
    if sprt:
        lower, upper = statistics.sprt_bounds(sprt[2], sprt[3])
        ratio = statistics.log_likelihood_ratio(pairs, sprt[0], sprt[1])
        text += f"  LLR {round(ratio, 2) + 0.0:.2f} ({lower:.2f}, {upper:.2f})"
    return text


def sprt_verdict(standing, sprt):
    """"H0", "H1", or "" while the test goes on."""
    if not sprt:
        return ""
    lower, upper = statistics.sprt_bounds(sprt[2], sprt[3])
    ratio = statistics.log_likelihood_ratio(standing.pairs(), sprt[0], sprt[1])
    return "H1" if ratio >= upper else "H0" if ratio <= lower else ""


def time_text(seconds):
    seconds = int(seconds)
    return f"{seconds // 3600}:{seconds // 60 % 60:02}:{seconds % 60:02}"


# ---- the match ----

class Match:
    """Shared by the slots, one thread each; `lock` guards everything but the engines."""

    def __init__(self, options, openings):
        self.options = options
        self.openings = openings
        self.stop = StopSignal()
        self.lock = threading.Lock()
        self.standing = Standing()
        self.error = ""
        self.verdict = ""
        self.start = time.perf_counter()
        self.played = 0  # games of this run
        self.replayed = 0  # games that were no result, as the machine stood still
        self.stall_watch = StallWatch() if options.replay_stalls else None
        self.state = None
        self.pgn = None
        self.next_game = 0

    def say(self, text):
        print(text, flush=True)

    def take_game(self):
        """The number of the next game to play, or None when there is none left."""
        with self.lock:
            while self.next_game in self.standing.points:
                self.next_game += 1
            if self.stop.is_set or self.next_game >= self.options.games:
                return None
            self.next_game += 1
            return self.next_game - 1

    def count_fault(self, side, fault, where, detail):
        """The caller holds the lock."""
        self.standing.faults[side][fault] += 1
        self.say(f"{where}: {side.upper()} ({self.options.names[side]}) {fault}: {detail}")

    def is_to_be_replayed(self, number, game, replays):
        """Tells of a game that an engine lost on time while the machine stood still."""
        needed = self.options.replay_stalls / 1000.0
        if not self.stall_watch or not game.fault or game.stalled < needed or replays >= MAX_REPLAYS:
            return False
        with self.lock:
            self.replayed += 1
            self.say(f"game {number + 1}: {game.reason}: {game.detail}; the machine stood still for "
                     f"{game.stalled:.3f} s of it: played again")
        return True

    def finish_game(self, number, game):
        """Counts and records a finished game; ends the match when the test is decided."""
        a_is_white = number % 2 == 0
        points = 0.5 if game.result == DRAWN else float((game.result == WHITE_WINS) == a_is_white)
        names = self.options.names
        white, black = (names["a"], names["b"]) if a_is_white else (names["b"], names["a"])
        with self.lock:
            if self.stop.is_set:
                return
            self.standing.add(number, points)
            self.played += 1
            if game.fault:
                self.count_fault("b" if points == 1.0 else "a", game.fault, f"game {number + 1}", game.detail)
            if self.state:
                record = {"game": number, "points": points, "reason": game.reason}
                if game.fault:
                    record["fault"] = ["b" if points == 1.0 else "a", game.fault]
                self.state.write(json.dumps(record) + "\n")
                self.state.flush()
            if self.pgn:
                self.pgn.write(pgn_of_game(game, self.options.event, white, black, f"{number // 2 + 1}.{number % 2 + 1}",
                                           self.options.limits.tag(), self.options.chess960))
                self.pgn.flush()
            self.verdict = sprt_verdict(self.standing, self.options.sprt)
            done = len(self.standing.points)
            if self.played % self.options.every == 0 or self.verdict or done == self.options.games:
                self.report()
            if self.verdict:
                self.stop.set()

    def report(self):
        done = len(self.standing.points)
        left = (time.perf_counter() - self.start) / self.played * (self.options.games - done) if self.played else 0
        self.say(f"{done}/{self.options.games}  {describe(self.standing, self.options.sprt)}  left {time_text(left)}")

    def fail(self, text):
        with self.lock:
            if not self.error and not self.stop.is_set:
                self.error = text
            self.stop.set()


def run_slot(match):
    """Plays games until there are none left. The engines live as long as the slot."""
    options = match.options
    engines = {}
    referee = None
    try:
        referee = Referee(options.referee, match.stop)
        for side in "ab":
            engines[side] = Engine(options.names[side], options.commands[side], options.engine_options[side], match.stop,
                                   options.chess960)
        while (number := match.take_game()) is not None:
            opening = match.openings[number // 2 % len(match.openings)]
            white, black = ("a", "b") if number % 2 == 0 else ("b", "a")

            def on_fault(engine, fault, detail):
                with match.lock:
                    match.count_fault("a" if engine is engines["a"] else "b", fault, f"before game {number + 1}", detail)

            for replays in range(MAX_REPLAYS + 1):
                game = play_game(engines[white], engines[black], options.limits, options.limits, opening, options.rules,
                                 referee, options.chess960, on_fault, match.stall_watch)
                if not match.is_to_be_replayed(number, game, replays):
                    break
            match.finish_game(number, game)
    except Interrupted:
        pass
    except (SetupError, ValueError) as error:
        match.fail(str(error))
    except (ProgramEnded, NoAnswer) as error:
        match.fail(f"the referee: {error or 'no answer'}")
    except Exception as error:  # a fault of the runner itself must not leave the other slots waiting
        match.fail(f"{type(error).__name__}: {error}")
    finally:
        for program in [*engines.values(), referee]:
            if program:
                program.close()


def identity_of(options, openings):
    """What a state file belongs to: everything that decides what the games are."""
    parts = [options.commands, options.engine_options, options.limits.tag(), options.limits.fixed, options.chess960,
             [(opening.fen, opening.moves) for opening in openings], dataclasses.asdict(options.rules)]
    networks = [options.engine_options[side].get("NN_File") for side in "ab"]
    for path in networks:
        if path and os.path.exists(path):
            with open(path, "rb") as file:
                parts.append(hashlib.sha256(file.read()).hexdigest())
    return hashlib.sha256(json.dumps(parts, sort_keys=True).encode()).hexdigest()[:16]


def open_state(path, identity, standing):
    """Reads the games that an earlier run of the same match finished, and opens the file to go on.
    A last line that was cut short is dropped. ValueError for the file of another match."""
    complete = ""
    if os.path.exists(path):
        with open(path, encoding="utf-8") as file:
            text = file.read()
        complete = text[: text.rfind("\n") + 1]
    lines = complete.splitlines()
    try:
        if lines and json.loads(lines[0]).get("match") != identity:
            raise ValueError(f"{path} belongs to another match; remove it to start this one")
        for line in lines[1:]:
            record = json.loads(line)
            standing.add(int(record["game"]), float(record["points"]))
            if "fault" in record:
                side, fault = record["fault"]
                standing.faults[side][fault] += 1
    except (json.JSONDecodeError, KeyError, TypeError, AttributeError) as error:
        raise ValueError(f"{path} can't be read as the state of a match") from error
    with open(path, "w", encoding="utf-8") as file:
        file.write(complete or json.dumps({"match": identity}) + "\n")
    return open(path, "a", encoding="utf-8")


def summary_of(match):
    """The result for programs."""
    wins, losses, draws = match.standing.wins_losses_draws()
    pairs = match.standing.pairs()
    elo, normalised = statistics.elo_interval(pairs), statistics.normalised_elo(pairs)
    return {
        "games": len(match.standing.points), "wanted": match.options.games, "wins": wins, "losses": losses,
        "draws": draws, "pairs": pairs, "elo": [value if math.isfinite(value) else None for value in elo] if elo else None,
        "normalised_elo": normalised, "superiority": statistics.likelihood_of_superiority(pairs),
        "sprt": match.verdict or None, "faults": match.standing.faults,
        "replayed": match.replayed,
        "complete": bool(match.verdict) or len(match.standing.points) >= match.options.games,
    }


def print_summary(match):
    options = match.options
    print(f"\n{options.names['a']} against {options.names['b']}, {len(match.standing.points)} of {options.games} games")
    print(describe(match.standing, options.sprt))
    for side in "ab":
        faults = match.standing.faults[side]
        print(f"faults of {side.upper()} ({options.names[side]}): "
              + ", ".join(f"{faults[fault]} {fault}" for fault in FAULTS))
    if match.stall_watch:
        print(f"played again, as the machine stood still: {match.replayed}")
    if match.verdict:
        print(f"SPRT: {match.verdict} accepted")
    elif options.sprt:
        print("SPRT: not decided")


def run_match(options, openings):
    """Plays the match; returns the exit code."""
    match = Match(options, openings)
    if options.state:
        match.state = open_state(options.state, identity_of(options, openings), match.standing)
        match.verdict = sprt_verdict(match.standing, options.sprt)
        if match.standing.points:
            match.say(f"{len(match.standing.points)} games were played before")
    if options.pgn:
        match.pgn = open(options.pgn, "a", encoding="utf-8")

    stopped_at = []

    def on_signal(_signum, _frame):
        # Some programs send a signal to a process and to its group: two at once are one request.
        if stopped_at and time.perf_counter() - stopped_at[0] > 1.0:
            os._exit(EXIT_STOPPED)
        stopped_at.append(time.perf_counter())
        match.stop.set()

    signal.signal(signal.SIGINT, on_signal)
    signal.signal(signal.SIGTERM, on_signal)
    # Other threads wait less for one that reads an answer; the times are of small clocks.
    sys.setswitchinterval(0.0005)
    count = min(options.concurrency, max(1, options.games - len(match.standing.points)))
    slots = [threading.Thread(target=run_slot, args=(match,)) for _ in range(0 if match.verdict else count)]
    for slot in slots:
        slot.start()
    for slot in slots:
        while slot.is_alive():
            slot.join(0.5)  # signals are handled between the waits
    for file in (match.state, match.pgn):
        if file:
            file.close()
    print_summary(match)
    summary = summary_of(match)
    if options.summary:
        with open(options.summary, "w", encoding="utf-8") as file:
            json.dump(summary, file, indent=1)
            file.write("\n")
    if match.error:
        print(f"match.py: {match.error}", file=sys.stderr)
        return EXIT_ERROR
    return EXIT_DONE if summary["complete"] else EXIT_STOPPED


# ---- command line ----

def limits_of_text(tc, nodes, depth, margin, stall):
    """"[MOVES/]SECONDS[+INCREMENT]" or fixed limits; ValueError for another text."""
    if nodes:
        return Limits(fixed=f"nodes {nodes}", stall=stall)
    if depth:
        return Limits(fixed=f"depth {depth}", stall=stall)
    found = re.fullmatch(r"(?:(\d+)/)?(\d+(?:\.\d+)?)(?:\+(\d+(?:\.\d+)?))?", tc)
    if not found or float(found.group(2)) <= 0.0:
        raise ValueError(f"{tc} is no time control such as 3+0.03 or 40/60")
    return Limits(base=float(found.group(2)), increment=float(found.group(3) or 0.0), moves=int(found.group(1) or 0),
                  margin=margin / 1000.0, stall=stall)


def numbers_of_text(text, count, what):
    """`count` numbers with commas between."""
    try:
        numbers = [float(word) for word in text.split(",")]
    except ValueError:
        numbers = []
    if len(numbers) != count:
        raise ValueError(f"{text} is no {what}")
    return numbers


def rules_of_options(options):
    rules = Rules(max_moves=options.max_moves)
    if options.resign == "none":
        rules.resign_moves = 0
    else:
        rules.resign_score, rules.resign_moves = (int(n) for n in numbers_of_text(options.resign, 2, "SCORE,MOVES"))
    if options.draw == "none":
        rules.draw_moves = 0
    else:
        numbers = numbers_of_text(options.draw, 3, "SCORE,MOVES,FROM")
        rules.draw_score, rules.draw_moves, rules.draw_from = (int(n) for n in numbers)
    return rules


def make_parser():
    parser = argparse.ArgumentParser(
        prog="match.py", description="A match between two engines, or between two networks of one engine.")
    engines = parser.add_argument_group("engines")
    engines.add_argument("--engine", help="command of both engines (default build/release/tarn)")
    engines.add_argument("--engine-a", help="command of engine A")
    engines.add_argument("--engine-b", help="command of engine B")
    engines.add_argument("--network-a", help="network file of A (option NN_File)")
    engines.add_argument("--network-b", help="network file of B")
    engines.add_argument("--option", action="append", default=[], metavar="NAME=VALUE", help="an option of both")
    engines.add_argument("--option-a", action="append", default=[], metavar="NAME=VALUE", help="an option of A")
    engines.add_argument("--option-b", action="append", default=[], metavar="NAME=VALUE", help="an option of B")
    engines.add_argument("--name-a", help="name of A in the PGN")
    engines.add_argument("--name-b", help="name of B")
    engines.add_argument("--chess960", action="store_true", help="Chess960: the openings and the castling text")
    play = parser.add_argument_group("play")
    play.add_argument("--games", type=int, default=400, help="number of games, rounded up to pairs (default 400)")
    play.add_argument("--concurrency", type=int, default=os.cpu_count() or 1, help="games at once (default: all cores)")
    play.add_argument("--tc", default="3+0.03", help="[MOVES/]SECONDS[+INCREMENT] (default 3+0.03)")
    play.add_argument("--nodes", type=int, help="nodes a move instead of a clock")
    play.add_argument("--depth", type=int, help="depth of each search instead of a clock")
    play.add_argument("--margin", type=float, default=0.0, help="milliseconds a clock may be below zero (default 0)")
    play.add_argument("--stall", type=float, default=60.0, help="seconds that a search without a clock may take")
    play.add_argument("--replay-stalls", type=float, default=0.0, metavar="MS",
                      help="a game lost on time while the machine stood still for MS milliseconds is played again"
                           " (default 0: it is lost)")
    play.add_argument("--openings", default=os.path.join(FOLDER, "openings.epd"), help="EPD or PGN file")
    play.add_argument("--plies", type=int, default=0, help="half moves to take from a PGN opening (default all)")
    play.add_argument("--seed", type=int, help="shuffle the openings with this number (default: as in the file)")
    play.add_argument("--resign", default="700,4", help="SCORE,MOVES: decided when both engines agree (or none)")
    play.add_argument("--draw", default="8,8,40", help="SCORE,MOVES,FROM: drawn when both agree (or none)")
    play.add_argument("--max-moves", type=int, default=300, help="a longer game is a draw (0: no limit)")
    result = parser.add_argument_group("result")
    result.add_argument("--sprt", metavar="ELO0,ELO1", help="sequential test, normalised Elo; ends the match early")
    result.add_argument("--alpha", type=float, default=0.05, help="risk to accept ELO1 when ELO0 holds")
    result.add_argument("--beta", type=float, default=0.05, help="risk to accept ELO0 when ELO1 holds")
    result.add_argument("--pgn", help="append the games to this file")
    result.add_argument("--event", default="Engine match", help="name of the match in the PGN")
    result.add_argument("--state", help="file that remembers finished games; the same command goes on from it")
    result.add_argument("--summary", help="write the result as JSON")
    result.add_argument("--every", type=int, default=10, help="games between two progress lines (default 10)")
    result.add_argument("--referee", help="command of tarn-referee (default: found in build/)")
    return parser


def find_referee(given):
    if given:
        return shlex.split(given)
    for folder in ("release", "dev", "debug"):
        path = os.path.join(ROOT, "build", folder, "training", "tarn-referee")
        if os.access(path, os.X_OK):
            return [path]
    raise ValueError("tarn-referee is not built: cmake --preset release -DTARN_TRAINING=ON; "
                     "cmake --build build/release --target tarn-referee")


def option_pairs(texts):
    pairs = {}
    for text in texts:
        name, equals, value = text.partition("=")
        if not equals or not name:
            raise ValueError(f"{text} is no NAME=VALUE")
        pairs[name] = value
    return pairs


def complete_options(options):
    """Turns the words of the command line into what the match uses; ValueError says what is wrong."""
    default = options.engine or os.path.join(ROOT, "build", "release", "tarn")
    options.commands = {"a": shlex.split(options.engine_a or default), "b": shlex.split(options.engine_b or default)}
    options.engine_options = {"a": option_pairs(options.option + options.option_a),
                              "b": option_pairs(options.option + options.option_b)}
    options.names = {}
    for side, network, name in (("a", options.network_a, options.name_a), ("b", options.network_b, options.name_b)):
        if network:
            if not os.path.isfile(network):
                raise ValueError(f"{network} is no file")
            options.engine_options[side]["NN_File"] = os.path.abspath(network)
        options.names[side] = name or os.path.basename(network or options.commands[side][0])
    if options.names["a"] == options.names["b"]:
        options.names = {side: f"{name}-{side}" for side, name in options.names.items()}
    if options.replay_stalls < 0.0:
        raise ValueError("--replay-stalls is 0 or more milliseconds")
    if options.games < 1 or options.concurrency < 1 or options.every < 1:
        raise ValueError("--games, --concurrency and --every are 1 or more")
    options.games += options.games % 2
    options.limits = limits_of_text(options.tc, options.nodes, options.depth, options.margin, options.stall)
    options.rules = rules_of_options(options)
    if options.sprt:
        elo0, elo1 = numbers_of_text(options.sprt, 2, "ELO0,ELO1")
        if elo0 >= elo1 or not 0.0 < options.alpha < 0.5 or not 0.0 < options.beta < 0.5:
            raise ValueError("the test needs ELO0 below ELO1, and risks between 0 and 0.5")
        options.sprt = (elo0, elo1, options.alpha, options.beta)
    options.referee = find_referee(options.referee)


def main(arguments=None):
    options = make_parser().parse_args(arguments)
    try:
        complete_options(options)
        referee = Referee(options.referee, StopSignal())
        openings = load_openings(options.openings, referee, options.plies, options.chess960)
        referee.close()
        if not openings:
            raise ValueError(f"{options.openings}: no openings")
        if options.seed is not None:
            random.Random(options.seed).shuffle(openings)
        print(f"{options.names['a']} against {options.names['b']}: {options.games} games, "
              f"{options.limits.fixed or options.limits.tag()}, {options.concurrency} at once, "
              f"{len(openings)} openings of {options.openings}", flush=True)
        return run_match(options, openings)
    except (ValueError, OSError, SetupError, ProgramEnded, NoAnswer) as error:
        print(f"match.py: {error}", file=sys.stderr)
        return EXIT_USAGE


if __name__ == "__main__":
    sys.exit(main())
